#pragma once

#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/GrantedTopics.h"
#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/unit/MQTTSDK/RecordingSessionDelegate.h"

namespace xel {

using Lines = std::vector<std::string>;

/// Counts the writes to the streams of another factory.
class WriteCountingStreams final : public ByteStreamFactory {
public:
    explicit WriteCountingStreams(std::shared_ptr<ByteStreamFactory> streams)
        : streams_(std::move(streams)) {}

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override {
        if (!hasMemory) {
            throw std::bad_alloc();
        }
        return std::make_unique<Stream>(streams_->makeStream(runLoop, observer), *this);
    }

    std::size_t count = 0;
    /// What its streams say of themselves.
    bool gathers = false;
    /// Whether there is memory for another one.
    bool hasMemory = true;

private:
    class Stream final : public ByteStream {
    public:
        Stream(std::unique_ptr<ByteStream> stream, WriteCountingStreams& streams)
            : stream_(std::move(stream)), streams_(streams) {}
        void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
            stream_->open(host, port, usingTLS);
        }
        void receive() override { stream_->receive(); }
        void write(std::string_view octets) override {
            ++streams_.count;
            stream_->write(octets);
        }
        [[nodiscard]] bool gathersWrites() const override { return streams_.gathers; }
        void closeAfterWriting(Ended ended) override { stream_->closeAfterWriting(std::move(ended)); }
        [[nodiscard]] std::string describeProgress() const override { return stream_->describeProgress(); }

    private:
        std::unique_ptr<ByteStream> stream_;
        WriteCountingStreams& streams_;
    };

    std::shared_ptr<ByteStreamFactory> streams_;
};

/// The packet identifier of what was written; 0 for nothing.
inline std::uint16_t idOf(const MQTTSubscribeOutcome& outcome) {
    return outcome.batches.empty() ? std::uint16_t{0} : outcome.batches.front().packetId;
}
inline std::uint16_t idOf(const MQTTUnsubscribeOutcome& outcome) {
    return outcome.packetId;
}

/// A session on virtual time, and the test in the broker's place, packet by packet.
class SessionTest : public testing::Test {
protected:
    static constexpr std::string_view kClient = "shop/alice/d1";

    SessionTest() {
        parameters.clientId = kClient;
        parameters.userName = "user";
        parameters.password = "password";
        makeSession();
    }

    /// Also plays a new start of the process: what is posted is lost, the disk is not.
    void makeSession(NSRunLoop* mainRunLoop = nullptr) {
        if (session) {
            session->setDelegate(nullptr);
            session.reset();
            loop->discardEverything();
        }
        MQTTClientSessionFactory factory(streams, clock, mainRunLoop, options);
        session = factory.makeSession(parameters, *loop, memory);
        session->setDelegate(&delegate);
    }

    /// Up to CONNECT, with the stream open.
    void openStream() {
        session->connectToHost("broker.example", 1880, false);
        run();
        connection().accept();
        run();
    }

    void connect(bool sessionPresent = true) {
        openStream();
        feed(encodeConnAck(sessionPresent, 0));
    }

    /// Connects and forgets what was recorded and written on the way.
    void connectQuietly(bool sessionPresent = true) {
        connect(sessionPresent);
        delegate.lines.clear();
        static_cast<void>(takeWritten());
    }

    void feed(std::string_view octets) {
        connection().feed(octets);
        run();
    }

    void run() { loop->runUntilIdle(); }

    FakeConnection& connection() { return *network->latest(); }

    /// What the client has written since the last time, a line for each packet; "|" where a segment ends.
    Lines takeWritten() {
        Lines packets;
        const auto& segments = connection().segments();
        if (readConnection_ != network->latest().get()) {
            readConnection_ = network->latest().get();
            readSegments_ = 0;
        }
        for (; readSegments_ < segments.size(); ++readSegments_) {
            FakeBrokerPacketReader reader;
            EXPECT_TRUE(reader.feed(segments[readSegments_])) << reader.fault();
            while (const auto packet = reader.next()) {
                packets.push_back(describe(*packet));
            }
            packets.emplace_back("|");
        }
        return packets;
    }

    static std::string publication(int number, int qos = 1) {
        return encodePublish("t", "m" + std::to_string(number), qos, false, false,
                             qos == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(number));
    }

    static std::string publications(int first, int last) {
        std::string octets;
        for (int number = first; number <= last; ++number) {
            octets += publication(number);
        }
        return octets;
    }

    /// The lines of a whole turn of those publications.
    static Lines turn(int first, int last) {
        Lines lines{"will"};
        for (int number = first; number <= last; ++number) {
            lines.push_back("t m" + std::to_string(number) + " q1 #" + std::to_string(number));
        }
        lines.emplace_back("did");
        return lines;
    }

    /// Its acknowledgements, in one segment.
    static Lines acknowledgements(int first, int last) {
        Lines lines;
        for (int number = first; number <= last; ++number) {
            lines.push_back("PUBACK #" + std::to_string(number));
        }
        lines.emplace_back("|");
        return lines;
    }

    template <class... More>
    static Lines joined(Lines first, const More&... more) {
        (first.insert(first.end(), more.begin(), more.end()), ...);
        return first;
    }

    static std::string suback(std::uint16_t packetId, std::vector<std::uint8_t> codes) {
        return encodeSubAck(packetId, codes);
    }

    /// The topics that the memory holds as granted, and those to be unsubscribed from.
    TopicTable granted() {
        TopicTable topics;
        const auto stored = memory.loadGrantedTopics(kClient);
        for (const auto& [topic, qos] : stored.value()) {
            if (!topic.starts_with(GrantedTopics::kMark)) {
                topics.set(topic, qos);
            }
        }
        return topics;
    }
    std::vector<std::string> removals() {
        std::vector<std::string> topics;
        const auto stored = memory.loadGrantedTopics(kClient);
        for (const auto& [topic, qos] : stored.value()) {
            if (topic.starts_with(GrantedTopics::kMark) && topic != GrantedTopics::kMark) {
                topics.push_back(topic.substr(GrantedTopics::kMark.size()));
            }
        }
        return topics;
    }

    void grantTopics(const TopicTable& topics) {
        ASSERT_TRUE(memory.storeGrantedTopics(kClient, topics).isOk());
        makeSession();
    }

    MQTTSessionParameters parameters;
    MQTTSessionOptions options;
    std::shared_ptr<FakeRunLoop> loop = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>(loop);
    std::shared_ptr<FakeNetwork> network = std::make_shared<FakeNetwork>();
    std::shared_ptr<WriteCountingStreams> streams = std::make_shared<WriteCountingStreams>(network);
    std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>();
    InMemorySessionMemory memory{disk};
    RecordingSessionDelegate delegate;
    std::shared_ptr<MQTTSession> session;

private:
    static std::string describe(const FakeBrokerPacket& packet) {
        std::string line(nameOfPacketType(packet.type));
        if (packet.packetId != 0) {
            line += " #" + std::to_string(packet.packetId);
        }
        if (packet.type == FakeBrokerPacketType::Connect) {
            line += " " + packet.connect.clientId + " " + packet.connect.userName.value_or("-") + " " +
                    packet.connect.password.value_or("-") + " " +
                    std::to_string(packet.connect.keepAliveSeconds) +
                    (packet.connect.cleanSession ? " clean" : "");
        }
        if (packet.type == FakeBrokerPacketType::Publish) {
            line += " " + packet.topic + " " + packet.payload + " q" + std::to_string(packet.qos) +
                    (packet.retain ? "r" : "") + (packet.dup ? " dup" : "");
        }
        for (const auto& [topic, qos] : packet.topics) {
            line += " " + topic + ":" + std::to_string(qos);
        }
        for (const auto& topic : packet.topicNames) {
            line += " " + topic;
        }
        return line;
    }

    const FakeConnection* readConnection_ = nullptr;
    std::size_t readSegments_ = 0;
};

}  // namespace xel
