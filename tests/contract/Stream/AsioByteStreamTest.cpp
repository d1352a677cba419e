#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Process/NoDescriptors.h"
#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

class AsioByteStreamTest : public ::testing::Test {
protected:
    void open(const std::string& host = "127.0.0.1") {
        stream_ = factory_.makeStream(loopback_.loop(), observer_);
        stream_->open(host, loopback_.peer().port(), false);
        ASSERT_TRUE(
            loopback_.runUntil([this] { return observer_.opened > 0 && loopback_.peer().isConnected(); }));
    }

    StreamOnLoopback loopback_;
    AsioByteStreamFactory factory_;
    RecordingStreamObserver observer_;
    std::unique_ptr<ByteStream> stream_;
};

TEST_F(AsioByteStreamTest, TriesTheNextAddressWhereOneRefuses) {
    // "localhost" may be both ::1 and 127.0.0.1, and the peer listens on the latter only.
    open("localhost");
    EXPECT_EQ(observer_.failed, 0);
}

TEST_F(AsioByteStreamTest, HoldsBackWhatTheSocketDoesNotTakeAndKeepsItsOrder) {
    open();
    loopback_.peer().setReading(false);
    std::string expected;
    for (int i = 0; i < 600; ++i) {
        const std::string piece = std::string(40'000, static_cast<char>('a' + i % 26)) + std::to_string(i);
        expected += piece;
        loopback_.loop().post([this, piece] { stream_->write(piece); });
    }
    loopback_.runForAWhile();
    loopback_.peer().setReading(true);
    EXPECT_TRUE(loopback_.runUntil([&] { return loopback_.peer().received().size() >= expected.size(); }));
    EXPECT_TRUE(loopback_.peer().received() == expected);
    EXPECT_EQ(observer_.failed, 0);
}

TEST_F(AsioByteStreamTest, LingersOverAWriteThatTheSocketDoesNotTakeAtOnce) {
    open();
    loopback_.peer().setReading(false);
    const std::string much(20'000'000, 'z');
    stream_->write(much);
    stream_->closeAfterWriting(nullptr);
    stream_.reset();
    loopback_.runForAWhile();
    loopback_.peer().setReading(true);
    EXPECT_TRUE(loopback_.runUntil([&] { return loopback_.peer().sawEnd(); }));
    EXPECT_EQ(loopback_.peer().received().size(), much.size());
}

TEST_F(AsioByteStreamTest, LingersNoLongerThanItMay) {
    AsioByteStreamFactory impatient({}, {.linger = std::chrono::milliseconds(30)});
    stream_ = impatient.makeStream(loopback_.loop(), observer_);
    stream_->open("127.0.0.1", loopback_.peer().port(), false);
    ASSERT_TRUE(
        loopback_.runUntil([this] { return observer_.opened > 0 && loopback_.peer().isConnected(); }));
    loopback_.peer().setReading(false);
    stream_->write(std::string(20'000'000, 'z'));
    std::vector<bool> ends;
    stream_->closeAfterWriting([&](bool everythingWasSent) { ends.push_back(everythingWasSent); });
    loopback_.runForAWhile();
    loopback_.peer().setReading(true);
    EXPECT_TRUE(loopback_.runUntil([&] { return !ends.empty() && loopback_.peer().sawEnd(); }));
    EXPECT_EQ(ends, std::vector<bool>{false});
    EXPECT_LT(loopback_.peer().received().size(), 20'000'000U);
}

TEST_F(AsioByteStreamTest, MayBeDroppedInsideItsOwnCallback) {
    class Dropper final : public ByteStreamObserver {
    public:
        void streamDidOpen() override { stream->receive(); }
        void streamDidReceive(std::string_view) override {
            ++received;
            stream.reset();
        }
        void streamDidEndByPeer() override { ++others; }
        void streamDidFail(const NSError&) override { ++others; }
        std::unique_ptr<ByteStream> stream;
        int received = 0;
        int others = 0;
    } dropper;
    dropper.stream = factory_.makeStream(loopback_.loop(), dropper);
    dropper.stream->open("127.0.0.1", loopback_.peer().port(), false);
    loopback_.peer().send("first");
    ASSERT_TRUE(loopback_.runUntil([&] { return dropper.received > 0; }));
    loopback_.peer().send("second");
    loopback_.runForAWhile();
    EXPECT_EQ(dropper.received, 1);
    EXPECT_EQ(dropper.others, 0);
}

TEST_F(AsioByteStreamTest, GoesOnReadingAfterACallbackThrew) {
    class Thrower final : public ByteStreamObserver {
    public:
        void streamDidOpen() override { stream->receive(); }
        void streamDidReceive(std::string_view octets) override {
            received += octets;
            stream->receive();
            if (received == "first") {
                throw std::runtime_error("a host's mistake");
            }
        }
        void streamDidEndByPeer() override {}
        void streamDidFail(const NSError&) override {}
        std::unique_ptr<ByteStream> stream;
        std::string received;
    } thrower;
    thrower.stream = factory_.makeStream(loopback_.loop(), thrower);
    thrower.stream->open("127.0.0.1", loopback_.peer().port(), false);
    loopback_.peer().send("first");
    EXPECT_THROW(loopback_.runUntil([&] { return false; }), std::runtime_error);
    loopback_.peer().send("second");
    EXPECT_TRUE(loopback_.runUntil([&] { return thrower.received == "firstsecond"; }));
}

TEST_F(AsioByteStreamTest, ReportsALossThatItMeetsWhileWriting) {
    open();
    loopback_.peer().reset();
    loopback_.runForAWhile();
    EXPECT_EQ(observer_.failed, 0) << "nobody has read or written yet";
    stream_->write("into the void");
    ASSERT_TRUE(loopback_.runUntil([this] { return observer_.failed > 0; }));
    EXPECT_EQ(observer_.failure->code, static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionReset));
    EXPECT_EQ(observer_.failed, 1);
}

/// What follows octets at once, so that one read finds both.
struct EndBehindOctets {
    const char* name;
    bool isReset;
    /// What the observer sends in the pass of the read.
    enum class Answer { None, AtOnce, InABlockOfThePass } answer;
};

class AsioByteStreamEnds : public AsioByteStreamTest,
                           public ::testing::WithParamInterface<EndBehindOctets> {};

TEST_P(AsioByteStreamEnds, AreSeenBehindOctetsThatCameWithThem) {
    class Reader final : public ByteStreamObserver {
    public:
        void streamDidOpen() override { ++opened; }
        void streamDidReceive(std::string_view octets) override {
            received += octets;
            stream->receive();
            if (answer == EndBehindOctets::Answer::AtOnce) {
                stream->write("taken");
            } else if (answer == EndBehindOctets::Answer::InABlockOfThePass) {
                loop->post([this] { stream->write("taken"); });
            }
        }
        void streamDidEndByPeer() override { ++ended; }
        void streamDidFail(const NSError&) override { ++failed; }
        std::unique_ptr<ByteStream> stream;
        AsioRunLoop* loop = nullptr;
        EndBehindOctets::Answer answer = EndBehindOctets::Answer::None;
        std::string received;
        int opened = 0;
        int ended = 0;
        int failed = 0;
    } reader;
    reader.loop = &loopback_.loop();
    reader.answer = GetParam().answer;
    reader.stream = factory_.makeStream(loopback_.loop(), reader);
    reader.stream->open("127.0.0.1", loopback_.peer().port(), false);
    ASSERT_TRUE(loopback_.runUntil([&] { return reader.opened > 0 && loopback_.peer().isConnected(); }));
    reader.stream->receive();
    // Once it waits for more, the loop stands still until both have come.
    loopback_.peer().send("first ");
    ASSERT_TRUE(loopback_.runUntil([&] { return reader.received == "first "; }));
    loopback_.runForAWhile();

    loopback_.peer().send("last");
    if (GetParam().isReset) {
        loopback_.peer().reset();
    } else {
        loopback_.peer().end();
    }
    EXPECT_TRUE(
        loopback_.runUntil([&] { return reader.ended + reader.failed > 0; }, std::chrono::seconds(5)));
    EXPECT_EQ(reader.received, "first last");
    EXPECT_EQ(reader.failed, GetParam().isReset ? 1 : 0);
    EXPECT_EQ(reader.ended, GetParam().isReset ? 0 : 1);
}

using Answer = EndBehindOctets::Answer;

INSTANTIATE_TEST_SUITE_P(
    Each, AsioByteStreamEnds,
    ::testing::Values(EndBehindOctets{"End", false, Answer::None},
                      EndBehindOctets{"EndThatIsAnsweredAtOnce", false, Answer::AtOnce},
                      EndBehindOctets{"EndThatIsAnswered", false, Answer::InABlockOfThePass},
                      EndBehindOctets{"Reset", true, Answer::None},
                      EndBehindOctets{"ResetThatIsAnsweredAtOnce", true, Answer::AtOnce},
                      EndBehindOctets{"ResetThatIsAnswered", true, Answer::InABlockOfThePass}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(AsioByteStreamTest, SaysThatNoDescriptorIsLeftAndConnectsOnceThereIsOne) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    open();
    stream_->receive();
    StreamOnLoopback elsewhere;
    RecordingStreamObserver second;
    auto other = factory_.makeStream(loopback_.loop(), second);
    {
        const NoDescriptors none;
        other->open("127.0.0.1", elsewhere.peer().port(), false);
        ASSERT_TRUE(loopback_.runUntil([&] { return second.failed > 0; }));
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const auto text = second.failure->localizedDescription();
        EXPECT_NE(text.find(std::to_string(limit.rlim_cur) + " descriptors open (RLIMIT_NOFILE)"),
                  std::string::npos)
            << text;
        EXPECT_EQ(second.failure->code, static_cast<std::int64_t>(ByteStreamErrorCode::ConnectFailed));
        loopback_.peer().send("lives on");
        EXPECT_TRUE(loopback_.runUntil([this] { return observer_.received == "lives on"; }));
    }
    RecordingStreamObserver third;
    other = factory_.makeStream(loopback_.loop(), third);
    other->open("127.0.0.1", elsewhere.peer().port(), false);
    EXPECT_TRUE(loopback_.runUntil([&] { return third.opened > 0; }));
}

TEST_F(AsioByteStreamTest, TakesOneDescriptorAndNoMore) {
    open();
    const std::size_t before = countDescriptors();
    StreamOnLoopback elsewhere;
    const std::size_t withPeer = countDescriptors();
    RecordingStreamObserver second;
    const auto other = factory_.makeStream(loopback_.loop(), second);
    other->open("127.0.0.1", elsewhere.peer().port(), false);
    ASSERT_TRUE(loopback_.runUntil([&] { return second.opened > 0; }));
    EXPECT_GT(withPeer, before);
    EXPECT_EQ(countDescriptors(), withPeer + 1) << "the peer has not accepted yet";
}

TEST_F(AsioByteStreamTest, RefusesToBeOpenedTwice) {
    open();
    EXPECT_THROW(stream_->open("127.0.0.1", loopback_.peer().port(), false), std::logic_error);
}

TEST_F(AsioByteStreamTest, SaysWhyANameOrAPeerCannotBeReached) {
    stream_ = factory_.makeStream(loopback_.loop(), observer_);
    stream_->open(StreamOnLoopback::unknownHost(), 4443, false);
    ASSERT_TRUE(loopback_.runUntil([this] { return observer_.failed > 0; }));
    const auto text = observer_.failure->localizedDescription();
    EXPECT_NE(text.find(":4443"), std::string::npos) << text;
    EXPECT_NE(text.find("look-up of the host's name failed"), std::string::npos) << text;

    RecordingStreamObserver second;
    stream_ = factory_.makeStream(loopback_.loop(), second);
    stream_->open("127.0.0.1", closedLoopbackPort(), false);
    ASSERT_TRUE(loopback_.runUntil([&] { return second.failed > 0; }));
    EXPECT_NE(second.failure->localizedDescription().find("Connection refused"), std::string::npos);
}

TEST(AsioByteStreamFactory, RefusesARunLoopOfAnotherKind) {
    FakeRunLoop other;
    RecordingStreamObserver observer;
    AsioByteStreamFactory factory;
    EXPECT_THROW((void)factory.makeStream(other, observer), std::invalid_argument);
}

}  // namespace
}  // namespace xel::contract
