// What no broker may send, from a real socket, instead of CONNACK or in the middle of a session.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/ScriptedBroker.h"
#include "tests/unit/MQTTSDK/Octets.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;

struct PacketRow {
    const char* name;
    std::string_view hex;
    const char* words;  // of the error that the host hears
};

/// A client of a broker whose first connection goes wrong. The following ones are sound and bring "after".
class WrongFirstConnection : public testing::Test {
protected:
    void connectTo(ScriptedBroker::Script script, MQTTSessionOptions session = {}) {
        broker_ = std::make_unique<ScriptedBroker>(loop_->ioContext(), std::move(script));
        MatrixClientOptions options;
        options.port = broker_->port();
        options.loop = loop_;
        options.session = session;
        client_ = std::make_unique<MatrixClient>(options);
        client_->connect();
    }

    void expectError(std::string_view words) {
        ASSERT_TRUE(client_->runUntilError());
        EXPECT_NE(client_->failureText().find(words), std::string::npos) << client_->failureText();
        EXPECT_TRUE(client_->runUntil([&] { return broker_->endedByClient() >= 1; }))
            << "the client lets go of it";
    }

    void expectHealing() {
        EXPECT_TRUE(client_->push().publish("news", "kept"));
        EXPECT_TRUE(client_->healUntil([&] {
            return client_->isConnected() && client_->countOf("after") == 1 &&
                   broker_->packetCount(FakeBrokerPacketType::Publish) >= 1;
        })) << client_->failureText();
        client_->runFor(5ms);
        EXPECT_TRUE(client_->isConnected());
        EXPECT_EQ(client_->countOf("behind"), 0U);
    }

    static ScriptedBroker::Answer messageAfterwards() {
        return {.octets = ScriptedBroker::message("after", 9), .isUsualOneFirst = true};
    }

    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::unique_ptr<ScriptedBroker> broker_;
    std::unique_ptr<MatrixClient> client_;
};

class MalformedPacket : public WrongFirstConnection, public testing::WithParamInterface<PacketRow> {};

TEST_P(MalformedPacket, EndsTheConnectionWithAWordAndHeals) {
    const std::string octets = ScriptedBroker::message("before", 1) + octetsFromHex(GetParam().hex) +
                               ScriptedBroker::message("behind", 2);
    connectTo([octets](std::size_t connection, const FakeBrokerPacket& packet) {
        std::optional<ScriptedBroker::Answer> answer;
        if (packet.type == FakeBrokerPacketType::Subscribe) {
            answer = connection == 1 ? ScriptedBroker::Answer{.octets = octets, .isUsualOneFirst = true}
                                     : messageAfterwards();
        }
        return answer;
    });
    expectError("the broker broke the protocol: ");
    expectError(GetParam().words);
    EXPECT_EQ(client_->countOf("before"), 1U);
    expectHealing();
}

constexpr PacketRow kInASession[] = {
    {"ReservedType0", "00 00", "a packet of a reserved type"},
    {"ReservedType15", "f0 00", "a packet of a reserved type"},
    {"Connect", "10 00", "a packet that only a client may send"},
    {"Subscribe", "82 06 0001 0001 61 01", "a packet that only a client may send"},
    {"Unsubscribe", "a2 05 0001 0001 61", "a packet that only a client may send"},
    {"PingReq", "c0 00", "a packet that only a client may send"},
    {"Disconnect", "e0 00", "a packet that only a client may send"},
    {"PubRec", "50 02 0001", "a packet of a reserved type or of QoS 2"},
    {"PubRel", "62 02 0001", "a packet of a reserved type or of QoS 2"},
    {"PubComp", "70 02 0001", "a packet of a reserved type or of QoS 2"},
    {"PubAckWithAReservedBit", "42 02 0001", "reserved bits"},
    {"SubAckWithAReservedBit", "98 03 0001 00", "reserved bits"},
    {"UnsubAckWithAReservedBit", "b2 02 0001", "reserved bits"},
    {"PingRespWithAReservedBit", "d1 00", "reserved bits"},
    {"LengthOfFiveOctets", "30 ff ff ff ff 01", "a remaining length of more than four octets"},
    {"SmallLengthInFiveOctets", "30 83 80 80 80 00", "a remaining length of more than four octets"},
    {"PublishOf256MiB", "30 ff ff ff 7f", "a packet over the size limit"},
    {"PublishOfOneOctetTooMany", "30 fd ff 3f", "a packet over the size limit"},
    {"SubAckOf256MiB", "90 ff ff ff 7f", "a packet over the size limit"},
    {"SecondConnAck", "20 02 00 00", "a second CONNACK"},
    {"PublishOfQoS2", "34 05 0001 61 0001", "a PUBLISH of QoS 2"},
    {"PublishOfQoS3", "36 05 0001 61 0001", "a PUBLISH of QoS 3"},
    {"DuplicateOfQoS0", "38 03 0001 61", "a PUBLISH of QoS 0 marked as a duplicate"},
    {"PublishWithoutATopicLength", "30 01 00", "a PUBLISH too short"},
    {"PublishWithAnEmptyTopic", "30 04 0000 7b7d", "a topic that is empty"},
    {"PublishWithATopicBeyondThePacket", "30 04 0003 6161", "a topic that is longer than its packet"},
    {"PublishWithNul", "30 05 0003 610061", "or holds NUL"},
    {"PublishWithAPlus", "30 05 0003 612f2b", "a wildcard"},
    {"PublishWithAHash", "30 05 0003 612f23", "a wildcard"},
    {"PublishNotUTF8", "30 04 0002 c328", "not UTF-8"},
    {"PublishWithASurrogate", "30 05 0003 eda080", "not UTF-8"},
    {"PublishWithoutAPacketId", "32 03 0001 61", "a PUBLISH too short"},
    {"PublishWithHalfAPacketId", "32 05 0002 6161 00", "ends inside its packet identifier"},
    {"PublishOfPacketId0", "32 05 0001 61 0000", "a packet identifier of 0"},
    {"PubAckTooShort", "40 01 00", "of another length than two"},
    {"PubAckTooLong", "40 03 0001 00", "of another length than two"},
    {"PubAckOfPacketId0", "40 02 0000", "a packet identifier of 0"},
    {"SubAckWithoutReturnCodes", "90 02 0001", "a SUBACK without return codes"},
    {"SubAckOfPacketId0", "90 03 0000 00", "a packet identifier of 0"},
    {"SubAckWithReturnCode3", "90 03 0001 03", "a reserved return code in a SUBACK"},
    {"SubAckThatNobodyWaitsFor", "90 03 fff0 01", "a SUBACK for no SUBSCRIBE that waits"},
    {"UnsubAckTooShort", "b0 00", "of another length than two"},
    {"UnsubAckThatNobodyWaitsFor", "b0 02 fff0", "an UNSUBACK for no UNSUBSCRIBE that waits"},
    {"PingRespWithABody", "d0 01 00", "a PINGRESP with a body"},
    {"PingRespThatNobodyWaitsFor", "d0 00", "a PINGRESP without a PINGREQ"},
    {"TextOfAnotherProtocol", "48 54 54 50 2f 31 2e 31", "reserved bits"},
    {"RecordOfTLS", "16 03 03 00 02 00 00", "a packet that only a client may send"},
};
INSTANTIATE_TEST_SUITE_P(InASession, MalformedPacket, testing::ValuesIn(kInASession),
                         [](const auto& row) { return std::string(row.param.name); });

class FirstPacket : public WrongFirstConnection, public testing::WithParamInterface<PacketRow> {};

TEST_P(FirstPacket, EndsTheAttemptWithAWordAndHeals) {
    const std::string octets = octetsFromHex(GetParam().hex);
    connectTo([octets](std::size_t connection, const FakeBrokerPacket& packet) {
        std::optional<ScriptedBroker::Answer> answer;
        if (connection == 1 && packet.type == FakeBrokerPacketType::Connect) {
            answer = ScriptedBroker::Answer{.octets = octets + ScriptedBroker::message("behind", 2)};
        } else if (packet.type == FakeBrokerPacketType::Subscribe) {
            answer = messageAfterwards();
        }
        return answer;
    });
    expectError(GetParam().words);
    expectHealing();
}

constexpr PacketRow kInsteadOfConnAck[] = {
    {"ConnAckWithAReservedHeaderBit", "21 02 00 00", "reserved bits"},
    {"ConnAckTooShort", "20 01 00", "of another length than two"},
    {"ConnAckTooLong", "20 03 00 00 00", "of another length than two"},
    {"ConnAckWithReservedFlags", "20 02 02 00", "reserved bits set in a CONNACK"},
    {"ConnAckWithReturnCode6", "20 02 00 06", "a reserved return code in a CONNACK"},
    {"ConnAckThatRefusesAPresentSession", "20 02 01 05", "a CONNACK that refuses a present session"},
    {"ConnAckOf256MiB", "20 ff ff ff 7f", "a packet over the size limit"},
    {"PublishBeforeConnAck", "30 05 0003 612f62", "a packet before CONNACK"},
    {"PubAckBeforeConnAck", "40 02 0001", "a packet before CONNACK"},
    {"PingRespBeforeConnAck", "d0 00", "a packet before CONNACK"},
    {"TextOfAnotherProtocol", "48 54 54 50 2f 31 2e 31", "the broker broke the protocol"},
    {"GreetingOfAMailServer", "32 32 30 20 6d 61 69 6c", "the broker broke the protocol"},
    {"RecordOfTLS", "15 03 03 00 02 02 28", "the broker broke the protocol"},
    {"RefusedProtocol", "20 02 00 01", "it does not speak MQTT 3.1.1"},
    {"RefusedClientId", "20 02 00 02", "it does not allow the client id"},
    {"RefusedForNow", "20 02 00 03", "its service is unavailable"},
    {"RefusedPassword", "20 02 00 04", "bad user name or password"},
    {"RefusedIdentity", "20 02 00 05", "not authorized"},
};
INSTANTIATE_TEST_SUITE_P(InsteadOfConnAck, FirstPacket, testing::ValuesIn(kInsteadOfConnAck),
                         [](const auto& row) { return std::string(row.param.name); });

struct BrokenOffRow {
    const char* name;
    FakeBrokerPacketType answerTo;
    std::string_view hex;
    bool endsConnection;
    const char* words;
};

class BrokenOffPacket : public WrongFirstConnection, public testing::WithParamInterface<BrokenOffRow> {};

TEST_P(BrokenOffPacket, IsNotWaitedForForEver) {
    const BrokenOffRow& row = GetParam();
    connectTo(
        [&row](std::size_t connection, const FakeBrokerPacket& packet) {
            std::optional<ScriptedBroker::Answer> answer;
            if (connection == 1 && packet.type == row.answerTo) {
                answer =
                    ScriptedBroker::Answer{.octets = octetsFromHex(row.hex),
                                           .isUsualOneFirst = row.answerTo == FakeBrokerPacketType::Subscribe,
                                           .endsConnection = row.endsConnection};
            } else if (connection == 1 && packet.type == FakeBrokerPacketType::PingReq) {
                answer = ScriptedBroker::Answer{};
            } else if (packet.type == FakeBrokerPacketType::Subscribe) {
                answer = messageAfterwards();
            }
            return answer;
        },
        {.connectDeadline = 300ms, .pingResponseDeadline = 100ms, .longestSilence = 100ms});
    if (row.answerTo == FakeBrokerPacketType::Subscribe && !row.endsConnection) {
        ASSERT_TRUE(client_->runUntilConnected());
        // The broker owes the answer to this one, behind what it never finishes.
        EXPECT_TRUE(client_->push().publish("news", "behind the half packet"));
    }
    ASSERT_TRUE(client_->runUntilError());
    EXPECT_NE(client_->failureText().find(row.words), std::string::npos) << client_->failureText();
    expectHealing();
}

constexpr FakeBrokerPacketType kConnect = FakeBrokerPacketType::Connect;
constexpr FakeBrokerPacketType kSubscribe = FakeBrokerPacketType::Subscribe;
constexpr BrokenOffRow kBrokenOff[] = {
    {"NothingAndTheEnd", kConnect, "", true, "the broker closed the connection"},
    {"NothingAndSilence", kConnect, "", false, "no connection to the broker within"},
    {"HalfAConnAckAndTheEnd", kConnect, "20 02 00", true, "the broker closed the connection"},
    {"HalfAConnAckAndSilence", kConnect, "20 02 00", false, "no connection to the broker within"},
    {"HalfAPublishAndTheEnd", kSubscribe, "32 20 0003 61", true, "the broker closed the connection"},
    {"LengthOf1MiBAndTheEnd", kSubscribe, "32 f0 ff 3f 0003", true, "the broker closed the connection"},
};
INSTANTIATE_TEST_SUITE_P(AfterThat, BrokenOffPacket, testing::ValuesIn(kBrokenOff),
                         [](const auto& row) { return std::string(row.param.name); });

class SoundButStrange : public WrongFirstConnection {};

TEST_F(SoundButStrange, PublicationOfExactlyTheLimitArrives) {
    // 4 octets of fixed header, the topic with its length and the packet id; the rest is the message.
    const std::string frame = ScriptedBroker::message("", 7);
    const std::string text(std::size_t{1024} * 1024 - frame.size() - 100, 'x');
    connectTo([text](std::size_t, const FakeBrokerPacket& packet) {
        std::optional<ScriptedBroker::Answer> answer;
        if (packet.type == FakeBrokerPacketType::Subscribe) {
            answer = ScriptedBroker::Answer{
                .octets = encodePublish("app/a1b2c3/user/alice01/D3V1CE",
                                        R"({"messageBody":")" + text + R"("})", 1, false, false, 7),
                .isUsualOneFirst = true};
        }
        return answer;
    });
    EXPECT_TRUE(client_->runUntil([&] { return client_->countOf(text) == 1; })) << client_->failureText();
    EXPECT_EQ(broker_->connectionCount(), 1U);
}

TEST_F(SoundButStrange, AcknowledgementsThatNobodyWaitsForChangeNothing) {
    connectTo([](std::size_t, const FakeBrokerPacket& packet) {
        std::optional<ScriptedBroker::Answer> answer;
        if (packet.type == FakeBrokerPacketType::Subscribe) {
            answer = ScriptedBroker::Answer{
                .octets = encodePubAck(77) + encodePubAck(65535) + ScriptedBroker::message("after", 9),
                .isUsualOneFirst = true};
        }
        return answer;
    });
    EXPECT_TRUE(client_->runUntil([&] { return client_->countOf("after") == 1; })) << client_->failureText();
    EXPECT_EQ(broker_->connectionCount(), 1U);
}

TEST_F(SoundButStrange, PayloadsThatAreNoMessageAreAcknowledgedAndDropped) {
    connectTo([](std::size_t, const FakeBrokerPacket& packet) {
        std::optional<ScriptedBroker::Answer> answer;
        if (packet.type == FakeBrokerPacketType::Subscribe) {
            std::string octets;
            std::uint16_t id = 20;
            for (const std::string& payload :
                 {std::string(), std::string("{"), std::string("[]"), std::string("\xff\xfe"),
                  std::string("null"), std::string(100'000, '['), std::string("{\"messageBody\":7}"),
                  std::string(1, '\0')}) {
                octets += encodePublish("app/a1b2c3/user/alice01/D3V1CE", payload, 1, false, false, ++id);
            }
            answer = ScriptedBroker::Answer{.octets = octets + ScriptedBroker::message("after", 9),
                                            .isUsualOneFirst = true};
        }
        return answer;
    });
    EXPECT_TRUE(client_->runUntil([&] { return client_->countOf("after") == 1; })) << client_->failureText();
    EXPECT_TRUE(client_->runUntil([&] { return broker_->packetCount(FakeBrokerPacketType::PubAck) == 9; }));
    EXPECT_EQ(broker_->connectionCount(), 1U);
}

}  // namespace
}  // namespace xel::matrix
