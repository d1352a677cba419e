// What a push message says of the message that waits.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/push/PushPayload.h"
#include "sandbox/push/WebPushEncryption.h"

namespace xel::sandbox {
namespace {

struct PayloadCase {
    const char* name;
    const char* message;
    const char* payload;
};

class PushPayload : public testing::TestWithParam<PayloadCase> {};

TEST_P(PushPayload, Says) {
    const auto message = parseJsonObject(GetParam().message);
    ASSERT_TRUE(message);
    EXPECT_EQ(parseJsonObject(composePushPayload(*message)), parseJsonObject(GetParam().payload))
        << composePushPayload(*message);
}

INSTANTIATE_TEST_SUITE_P(
    Each, PushPayload,
    testing::Values(
        PayloadCase{
            "TheTextOfAMessage",
            R"({"id":"m1","messageBody":"hi","channel":"private/orders","senderId":"bob","serverTime":1})",
            R"({"aps":{"alert":{"body":"hi"}},"id":"m1","channel":"private/orders"})"},
        PayloadCase{"TheNotificationBeforeTheText",
                    R"({"messageBody":"hi","notification":{"title":"t","subtitle":"s","body":"b","badge":3,
                        "sound":"chime","category":"order"}})",
                    R"({"aps":{"alert":{"title":"t","subtitle":"s","body":"b"},"badge":3,"sound":"chime",
                        "category":"order"}})"},
        PayloadCase{"TheTextUnderATitle", R"({"messageBody":"hi","notification":{"title":"t"}})",
                    R"({"aps":{"alert":{"title":"t","body":"hi"}}})"},
        PayloadCase{"ActionsAndMediaBesideTheAps",
                    R"({"messageBody":"hi","notification":{"actions":[{"id":"a","title":"A"}],
                        "mediaUrl":"http://localhost/p.png","mediaType":"image"}})",
                    R"({"aps":{"alert":{"body":"hi"}},"actions":[{"id":"a","title":"A"}],
                        "mediaUrl":"http://localhost/p.png","mediaType":"image"})"},
        PayloadCase{"TheData", R"({"id":"m1","messageBody":"hi","data":{"order":1001}})",
                    R"({"aps":{"alert":{"body":"hi"}},"id":"m1","data":{"order":1001}})"},
        PayloadCase{"NoAlertOfASilentMessage", R"({"id":"m1","messageBody":"hi","silent":true})",
                    R"({"aps":{"content-available":1},"id":"m1"})"},
        PayloadCase{"NoAlertWithoutAText", R"({"id":"m1","notification":{"badge":3}})",
                    R"({"aps":{"content-available":1},"id":"m1"})"},
        PayloadCase{
            "NothingOfAnotherType",
            R"({"id":1,"channel":[],"data":"x","messageBody":7,"silent":"yes","notification":{"title":1,
                        "body":"b","badge":"3","sound":1,"actions":{},"mediaUrl":1}})",
            R"({"aps":{"alert":{"body":"b"}}})"}),
    [](const auto& each) { return each.param.name; });

Json payloadOf(const Json& message) {
    const std::string payload = composePushPayload(message);
    EXPECT_LE(payload.size(), kLargestPushText);
    const auto parsed = parseJsonObject(payload);
    EXPECT_TRUE(parsed) << payload;
    return parsed.value_or(Json::object());
}

TEST(LongPushPayload, LeavesOutTheDataFirst) {
    const Json payload = payloadOf(Json{{"id", "m1"},
                                        {"messageBody", "hi"},
                                        {"notification", Json{{"mediaType", "image"}}},
                                        {"data", Json{{"x", std::string(4000, 'x')}}}});
    EXPECT_EQ(payload,
              (Json{{"aps", Json{{"alert", Json{{"body", "hi"}}}}}, {"mediaType", "image"}, {"id", "m1"}}));
}

TEST(LongPushPayload, LeavesOutTheActionsNext) {
    const Json payload = payloadOf(Json{
        {"messageBody", "hi"},
        {"notification", Json{{"actions", Json::array({std::string(4000, 'x')})}, {"mediaType", "image"}}}});
    EXPECT_EQ(payload, (Json{{"aps", Json{{"alert", Json{{"body", "hi"}}}}}, {"mediaType", "image"}}));
}

TEST(LongPushPayload, CutsTheTextBetweenTwoCharacters) {
    for (const std::string& character :
         {std::string("x"), std::string("é"), std::string("😀"), std::string("\x01")}) {
        std::string text = "a";
        for (int i = 0; i < 5000; ++i) {
            text += character;
        }
        const Json payload = payloadOf(Json{{"id", "m1"}, {"messageBody", text}});
        EXPECT_EQ(payload["id"], "m1");
        const auto body = payload["aps"]["alert"]["body"].get<std::string>();
        EXPECT_GT(body.size(), 400U) << character;
        EXPECT_EQ((body.size() - 1) % character.size(), 0U) << character;
        EXPECT_TRUE(text.starts_with(body)) << character;
    }
}

TEST(LongPushPayload, WakesWhenNothingElseFits) {
    EXPECT_EQ(payloadOf(Json{{"id", std::string(5000, 'x')}, {"messageBody", "hi"}}),
              (Json{{"aps", Json{{"content-available", 1}}}}));
}

}  // namespace
}  // namespace xel::sandbox
