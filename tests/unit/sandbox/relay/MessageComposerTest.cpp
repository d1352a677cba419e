#include <string>

#include <gtest/gtest.h>

#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/RandomText.h"

namespace xel::sandbox {
namespace {

MessageEnvelope makeEnvelope() {
    return MessageEnvelope{.id = "m1",
                           .user = "bob01",
                           .channel = "orders",
                           .serverTime = 1514800000000,
                           .senderId = "alice01",
                           .sentId = "D1"};
}

TEST(MessageComposer, SaysIdTimeSenderAndRecipientItself) {
    const Json forged{{"id", "x"},         {"userId", "x"},  {"serverTime", 1},    {"senderId", "x"},
                      {"sentId", "x"},     {"channel", "x"}, {"live", true},       {"stateful", true},
                      {"receivedTime", 1}, {"other", 1},     {"messageBody", "hi"}};
    const Json expected{{"id", "m1"},
                        {"messageBody", "hi"},
                        {"userId", "bob01"},
                        {"channel", "private/orders"},
                        {"serverTime", 1514800000000},
                        {"senderId", "alice01"},
                        {"sentId", "D1"}};
    EXPECT_EQ(composeMessage(makeEnvelope(), forged), expected);
}

TEST(MessageComposer, PassesTheSendersKeysOnWhenTheirTypeIsRight) {
    const Json content = Json::parse(R"({"messageBody":"hi","notification":{"title":"t"},"data":{"a":[1,2]},
        "expireTime":"1514800000500","inApp":true,"useAsAlert":false,"silent":true,"alertText":"look"})");
    const Json message = composeMessage(makeEnvelope(), content);
    for (const auto& [key, value] : content.items()) {
        EXPECT_EQ(message[key], value) << key;
    }
    const Json wrong = Json::parse(R"({"messageBody":1,"notification":"t","data":[],"expireTime":{},
        "inApp":"yes","useAsAlert":0,"silent":null,"alertText":{}})");
    const Json rest = composeMessage(makeEnvelope(), wrong);
    for (const auto& [key, value] : wrong.items()) {
        EXPECT_FALSE(rest.contains(key)) << key;
    }
}

TEST(MessageComposer, NamesAPublicMessageForEverybody) {
    MessageEnvelope envelope = makeEnvelope();
    envelope.user = "public";
    envelope.live = true;
    envelope.stateful = true;
    const Json message = composeMessage(envelope, Json::object());
    EXPECT_EQ(message["userId"], "*");
    EXPECT_EQ(message["channel"], "orders");
    EXPECT_EQ(message["live"], true);
    EXPECT_EQ(message["stateful"], true);
}

TEST(MessageComposer, LeavesOutASenderThatIsNone) {
    MessageEnvelope envelope = makeEnvelope();
    envelope.senderId.clear();
    envelope.sentId.clear();
    const Json message = composeMessage(envelope, Json::object());
    EXPECT_FALSE(message.contains("senderId"));
    EXPECT_FALSE(message.contains("sentId"));
}

TEST(MessageOrigin, IsReadFromWhatWasComposed) {
    const std::optional<MessageOrigin> origin =
        readMessageOrigin(printJson(composeMessage(makeEnvelope(), Json::object())));
    ASSERT_TRUE(origin);
    EXPECT_EQ(origin->id, "m1");
    EXPECT_EQ(origin->senderId, "alice01");
}

TEST(MessageOrigin, IsMissingWithoutASenderOrAnIdThatFitsATopic) {
    for (const char* payload :
         {"", "no json", R"({"id":"m1"})", R"({"senderId":"alice01"})", R"({"id":"m1","senderId":""})",
          R"({"id":"a/b","senderId":"alice01"})", R"({"id":"#","senderId":"alice01"})",
          R"({"id":"m1","senderId":"+"})", R"({"id":7,"senderId":"alice01"})", R"(["senderId"])"}) {
        EXPECT_FALSE(readMessageOrigin(payload)) << payload;
    }
}

TEST(ParseJsonObject, RefusesWhatIsNoObjectOrTooDeep) {
    EXPECT_TRUE(parseJsonObject("{}"));
    EXPECT_TRUE(parseJsonObject(R"({"a":"[[[{{{\"}"})"));
    for (const std::string& text :
         {std::string(), std::string("[]"), std::string("1"), std::string("{"), std::string("{}x"),
          std::string("{\"a\":\"\xFF\"}"), std::string("{\"a\":NaN}"), std::string("{}\0", 3),
          std::string("{}\0{}", 5)}) {
        EXPECT_FALSE(parseJsonObject(text)) << text;
    }
    const auto nest = [](std::size_t depth) {
        return "{\"a\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
    };
    EXPECT_TRUE(parseJsonObject(nest(64)));
    EXPECT_FALSE(parseJsonObject(nest(65)));
    EXPECT_FALSE(parseJsonObject(nest(500000)));
}

TEST(RandomText, MakesVersionFourUuids) {
    const std::string uuid = makeUuid();
    ASSERT_EQ(uuid.size(), 36U);
    for (const std::size_t dash : {8U, 13U, 18U, 23U}) {
        EXPECT_EQ(uuid[dash], '-');
    }
    EXPECT_EQ(uuid[14], '4');
    EXPECT_NE(std::string("89ab").find(uuid[19]), std::string::npos);
    EXPECT_NE(uuid, makeUuid());
    EXPECT_EQ(makeRandomHex(24).size(), 48U);
}

}  // namespace
}  // namespace xel::sandbox
