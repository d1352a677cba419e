#include <gtest/gtest.h>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {
namespace {

const Date kNow = dateFromSecondsSince1970(1000);

PushClientMessage decodedText(std::string_view payload) {
    SimpleJSONSerialization json;
    const auto message = PushClientMessage::fromPayload(payload, json, "news", kNow);
    EXPECT_TRUE(message);
    return message ? *message : PushClientMessage();
}

PushClientMessage decoded(Dictionary fields) {
    return decodedText(printJSON(std::move(fields), JSONLayout::OneLine));
}

TEST(PushClientMessage, ReadsEveryField) {
    const Dictionary notification{{"title", "Hello"}};
    const Dictionary data{{"price", 3}};
    const auto message = decoded({{"id", "m1"},
                                  {"messageBody", "text"},
                                  {"notification", notification},
                                  {"data", data},
                                  {"userId", "alice01"},
                                  {"serverTime", std::int64_t{1514800000000}},
                                  {"expireTime", "1514800000500.5"},
                                  {"senderId", "bob02"},
                                  {"sentId", "X9"},
                                  {"inApp", true},
                                  {"live", true},
                                  {"stateful", true},
                                  {"useAsAlert", true},
                                  {"silent", true},
                                  {"alertText", "alert"}});
    EXPECT_EQ(message.id, "m1");
    EXPECT_EQ(message.messageBody, "text");
    EXPECT_EQ(message.notification, notification);
    EXPECT_EQ(message.data, data);
    EXPECT_EQ(message.userId, "alice01");
    EXPECT_EQ(message.serverTime, dateFromMillisecondsSince1970(1514800000000));
    EXPECT_EQ(message.expireTime, dateFromMillisecondsSince1970(1514800000500.5));
    EXPECT_EQ(message.senderId, "bob02");
    EXPECT_EQ(message.sentId, "X9");
    EXPECT_TRUE(message.inApp && message.live && message.stateful && message.useAsAlert && message.silent);
    EXPECT_EQ(message.alertText, "alert");
}

TEST(PushClientMessage, TakesChannelAndReceptionFromTheDeviceOnly) {
    const auto message = decoded({{"channel", "other"}, {"receivedTime", 5}});
    EXPECT_EQ(message.channel, "news");
    EXPECT_EQ(message.receivedTime, kNow);
}

TEST(PushClientMessage, LeavesMissingFieldsEmpty) {
    const auto message = decoded({});
    EXPECT_EQ(message.toDict(), (Dictionary{{"channel", "news"}, {"receivedTime", 1000000}}));
}

TEST(PushClientMessage, ReadsAFieldOfTheWrongTypeAsAbsent) {
    const auto message = decoded({{"id", 5},
                                  {"messageBody", Array()},
                                  {"notification", "text"},
                                  {"data", true},
                                  {"serverTime", true},
                                  {"expireTime", Dictionary()},
                                  {"silent", "yes"},
                                  {"unknown", 1}});
    EXPECT_EQ(message.toDict(), (Dictionary{{"channel", "news"}, {"receivedTime", 1000000}}));
}

TEST(PushClientMessage, ReadsTheLastOfFieldsThatAreGivenTwice) {
    const auto message = decodedText(
        R"({"id":"m1","id":"m2","messageBody":"text","messageBody":5,"data":{"a":1},"data":null})");
    EXPECT_EQ(message.id, "m2");
    EXPECT_FALSE(message.messageBody);
    EXPECT_FALSE(message.data);
}

TEST(PushClientMessage, ReadsInstantsAsNumbersOrTheirDecimalText) {
    const std::vector<std::pair<Value, std::optional<double>>> table = {
        {Value(1500), 1500.0},           {Value(1500.5), 1500.5},        {Value("1500"), 1500.0},
        {Value("-1500.5"), -1500.5},     {Value(""), std::nullopt},      {Value("soon"), std::nullopt},
        {Value("1500ms"), std::nullopt}, {Value(" 1500"), std::nullopt}, {Value("nan"), std::nullopt},
        {Value("inf"), std::nullopt},    {Value("1e999"), std::nullopt}, {Value(nullptr), std::nullopt},
    };
    for (const auto& [value, milliseconds] : table) {
        const auto expireTime = decoded({{"expireTime", value}}).expireTime;
        EXPECT_EQ(expireTime.has_value(), milliseconds.has_value());
        if (expireTime && milliseconds) {
            EXPECT_EQ(*expireTime, dateFromMillisecondsSince1970(*milliseconds));
        }
    }
}

TEST(PushClientMessage, IsNoneForAPayloadThatIsNoObject) {
    SimpleJSONSerialization json;
    for (const std::string_view payload : {"null", "1", "\"text\"", "[]", "", "{\"id\":", "{} {}"}) {
        EXPECT_FALSE(PushClientMessage::fromPayload(payload, json, "news", kNow)) << payload;
    }
}

TEST(PushClientMessage, WritesWhatIsThereUnderItsName) {
    PushClientMessage message;
    message.id = "m1";
    message.messageBody = "text";
    message.notification = Dictionary{{"title", "Hello"}};
    message.data = Dictionary{{"price", 3}};
    message.channel = "news";
    message.userId = "*";
    message.serverTime = dateFromMillisecondsSince1970(1514800000000);
    message.expireTime = dateFromMillisecondsSince1970(1500.5);
    message.senderId = "bob02";
    message.sentId = "X9";
    message.inApp = message.live = message.stateful = message.useAsAlert = message.silent = true;
    message.alertText = "alert";
    EXPECT_EQ(message.toDict(), (Dictionary{{"id", "m1"},
                                            {"messageBody", "text"},
                                            {"notification", Dictionary{{"title", "Hello"}}},
                                            {"data", Dictionary{{"price", 3}}},
                                            {"channel", "news"},
                                            {"userId", "*"},
                                            {"serverTime", std::int64_t{1514800000000}},
                                            {"expireTime", 1500.5},
                                            {"senderId", "bob02"},
                                            {"sentId", "X9"},
                                            {"inApp", true},
                                            {"live", true},
                                            {"stateful", true},
                                            {"useAsAlert", true},
                                            {"silent", true},
                                            {"alertText", "alert"}}));
}

TEST(PushClientMessage, MakesAnOutboundText) {
    const auto message = PushClientMessage::withMessage("hi", "bob02", "news");
    EXPECT_EQ(message.toDict(),
              (Dictionary{{"messageBody", "hi"}, {"channel", "news"}, {"userId", "bob02"}}));
}

}  // namespace
}  // namespace xel
