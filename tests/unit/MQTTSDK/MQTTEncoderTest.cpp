#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "tests/unit/MQTTSDK/Octets.h"

namespace xel {
namespace {

using TopicList = std::vector<std::pair<std::string_view, int>>;

MQTTSessionParameters parametersOf(std::string clientId, std::string userName, std::string password,
                                   std::chrono::seconds keepAlive) {
    MQTTSessionParameters parameters;
    parameters.clientId = std::move(clientId);
    parameters.userName = std::move(userName);
    parameters.password = std::move(password);
    parameters.keepAlive = keepAlive;
    return parameters;
}

MQTTSessionParameters someParameters() {
    return parametersOf("a/b/c", "us", "pw", std::chrono::seconds(180));
}

struct EncodingCase {
    std::string_view name;
    std::string_view expectedHex;
    std::function<void(std::string& out)> encode;
};

const EncodingCase kEncodings[] = {
    {"CONNECT", "10 19 0004 4d515454 04 c0 00b4 0005 612f622f63 0002 7573 0002 7077",
     [](std::string& out) { appendConnect(out, someParameters()); }},
    {"CONNECT of a clean session without identity", "10 0e 0004 4d515454 04 02 003c 0002 6964",
     [](std::string& out) {
         auto parameters = parametersOf("id", "", "", std::chrono::seconds(60));
         parameters.cleanSession = true;
         appendConnect(out, parameters);
     }},
    {"CONNECT with a user name only", "10 0f 0004 4d515454 04 80 0000 0000 0001 75",
     [](std::string& out) { appendConnect(out, parametersOf("", "u", "", std::chrono::seconds(0))); }},
    {"CONNECT leaves a password without user name out", "10 0c 0004 4d515454 04 00 0001 0000",
     [](std::string& out) { appendConnect(out, parametersOf("", "", "secret", std::chrono::seconds(1))); }},
    {"CONNECT with too long a keep-alive", "10 0c 0004 4d515454 04 00 ffff 0000",
     [](std::string& out) { appendConnect(out, parametersOf("", "", "", std::chrono::hours(1000))); }},
    {"PUBLISH at QoS 0", "30 06 0003 612f62 7b",
     [](std::string& out) { appendPublish(out, "a/b", "{", 0, false); }},
    {"PUBLISH at QoS 0, retained", "31 05 0003 612f62",
     [](std::string& out) { appendPublish(out, "a/b", "", 0, true); }},
    {"PUBLISH at QoS 1", "32 08 0003 612f62 1234 7b",
     [](std::string& out) { appendPublish(out, "a/b", "{", 0x1234, false); }},
    {"PUBLISH at QoS 1, retained", "33 08 0003 612f62 ffff 7b",
     [](std::string& out) { appendPublish(out, "a/b", "{", 0xFFFF, true); }},
    {"PUBLISH on a topic with a mark of byte order", "30 06 0004 efbbbf61",
     [](std::string& out) { appendPublish(out, "\xEF\xBB\xBF\x61", "", 0, false); }},
    {"PUBACK", "40 02 0102", [](std::string& out) { appendPuback(out, 0x0102); }},
    {"SUBSCRIBE", "82 0b 0007 0001 61 01 0002 622f 00",
     [](std::string& out) {
         EXPECT_TRUE(appendSubscribe(out, 7, TopicList{{"a", 1}, {"b/", 0}}));
     }},
    {"UNSUBSCRIBE", "a2 09 0008 0001 61 0002 622f",
     [](std::string& out) {
         EXPECT_TRUE(appendUnsubscribe(out, 8, std::vector<std::string_view>{"a", "b/"}));
     }},
    {"PINGREQ", "c000", [](std::string& out) { appendPingreq(out); }},
    {"DISCONNECT", "e000", [](std::string& out) { appendDisconnect(out); }},
};

TEST(MQTTEncoder, WritesEachPacketAsTheStandardSays) {
    for (const EncodingCase& encoding : kEncodings) {
        std::string out = "before";
        encoding.encode(out);
        EXPECT_EQ(hexFromOctets(out), hexFromOctets("before" + octetsFromHex(encoding.expectedHex)))
            << encoding.name;
    }
}

TEST(MQTTEncoder, WritesTheRemainingLengthInOneToFourOctets) {
    struct LengthCase {
        std::size_t remainingLength;
        std::string_view hex;
    };
    constexpr LengthCase kLengths[] = {{127, "7f"},        {128, "8001"},         {16'383, "ff7f"},
                                       {16'384, "808001"}, {2'097'151, "ffff7f"}, {2'097'152, "80808001"}};
    for (const auto& [remainingLength, hex] : kLengths) {
        const std::string data(remainingLength - 5, 'd');
        std::string out;
        appendPublish(out, "t", data, 1, false);
        EXPECT_EQ(hexFromOctets(out.substr(1, hex.size() / 2)), hex);
        EXPECT_EQ(out.size(), 1 + hex.size() / 2 + remainingLength);
        EXPECT_EQ(publishPacketSize("t", data, 1), out.size());
    }
}

TEST(MQTTEncoder, AppendsNothingWhenTopicsAreNoneOrTooMany) {
    std::string out;
    EXPECT_FALSE(appendSubscribe(out, 1, TopicList{}));
    EXPECT_FALSE(appendUnsubscribe(out, 1, std::vector<std::string_view>{}));
    const std::string longTopic(65'535, 't');
    const std::size_t tooMany = kMQTTMaxRemainingLength / longTopic.size() + 1;
    EXPECT_FALSE(appendSubscribe(out, 1, TopicList(tooMany, {longTopic, 1})));
    EXPECT_FALSE(appendUnsubscribe(out, 1, std::vector<std::string_view>(tooMany, longTopic)));
    EXPECT_EQ(out, "");
}

}  // namespace
}  // namespace xel
