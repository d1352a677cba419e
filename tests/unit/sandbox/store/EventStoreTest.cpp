#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sandbox/process/SandboxError.h"
#include "sandbox/relay/EventRecord.h"
#include "sandbox/store/AnswerSize.h"
#include "sandbox/store/EventStore.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

class EventStoreTest : public testing::Test {
protected:
    void keepEvent(const std::string& payload) {
        const auto event = readEvent("shop", "app/shop/event/login/D1", payload, {"alice01", "D1"});
        ASSERT_TRUE(event);
        store_.keep(*event);
    }
    void keepReceipt(const std::string& topic, const std::string& payload, const Publisher& publisher) {
        const auto receipt = readReceipt("shop", topic, payload, publisher);
        ASSERT_TRUE(receipt);
        store_.keep(*receipt);
    }

    test::TemporaryFolder folder_;
    EventStore store_{folder_.path() / "events.db"};
};

TEST_F(EventStoreTest, KeepsOneRowForEachId) {
    keepEvent(R"({"id":"e1","x":1})");
    keepEvent(R"({"id":"e1","x":2})");
    keepEvent(R"({"id":7})");
    keepEvent(R"({"id":7})");
    const Json events = store_.listEvents(10);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0]["id"], "e1");
    EXPECT_EQ(events[0]["event"], "login");
    EXPECT_EQ(events[0]["deviceId"], "D1");
    EXPECT_EQ(events[0]["user"], "alice01");
    EXPECT_EQ(events[0]["data"], (Json{{"id", "e1"}, {"x", 1}}));
    EXPECT_TRUE(events[0]["received"].is_number_integer());
    EXPECT_EQ(events[1]["id"], "7");
}

TEST_F(EventStoreTest, KeepsEveryEventWithoutAnId) {
    for (const char* payload :
         {R"({"x":1})", R"({"x":1})", R"({"id":true})", R"({"id":null})", "no JSON", "", "[1]", "\xFF\xFE"}) {
        keepEvent(payload);
    }
    const Json events = store_.listEvents(10);
    ASSERT_EQ(events.size(), 8U);
    for (const Json& event : events) {
        EXPECT_TRUE(event["id"].is_null());
    }
    EXPECT_EQ(events[0]["data"], (Json{{"x", 1}}));
    EXPECT_TRUE(events[4]["data"].is_null());
    EXPECT_TRUE(events[5]["data"].is_null());
    EXPECT_TRUE(events[7]["data"].is_null());
}

TEST_F(EventStoreTest, ListsTheNewestInTheirOrder) {
    for (int i = 0; i < 5; ++i) {
        keepEvent(R"({"id":"e)" + std::to_string(i) + "\"}");
    }
    const Json events = store_.listEvents(2);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0]["id"], "e3");
    EXPECT_EQ(events[1]["id"], "e4");
}

TEST_F(EventStoreTest, ListsNoMoreThanFitsAnAnswer) {
    const std::string large(kLargestAnswer / 4, 'x');
    for (int i = 0; i < 6; ++i) {
        keepEvent(R"({"id":"e)" + std::to_string(i) + R"(","x":")" + large + "\"}");
    }
    const Json events = store_.listEvents(10);
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[2]["id"], "e5");
}

TEST_F(EventStoreTest, KeepsReceiptsAndARepeatedOneOnce) {
    const Publisher alice{"alice01", "D1"};
    keepReceipt("app/shop/event/seen/m1", R"({"ts":"1514800000000.000000"})", alice);
    keepReceipt("app/shop/event/seen/m1", R"({"ts":"1514800000000.000000"})", alice);
    keepReceipt("app/shop/event/seen/m1", R"({"ts":"1514800000000.000000"})", {"alice01", "D2"});
    keepReceipt("app/shop/event/dismiss/m1", R"({"ts":"1514800000000.000000"})", alice);
    keepReceipt("app/shop/event/seen/m2", "no JSON", alice);
    const Json receipts = store_.listReceipts(10);
    ASSERT_EQ(receipts.size(), 4U);
    EXPECT_EQ(receipts[0]["kind"], "seen");
    EXPECT_EQ(receipts[0]["messageId"], "m1");
    EXPECT_EQ(receipts[0]["user"], "alice01");
    EXPECT_EQ(receipts[0]["deviceId"], "D1");
    EXPECT_EQ(receipts[0]["ts"], "1514800000000.000000");
    EXPECT_EQ(receipts[1]["deviceId"], "D2");
    EXPECT_EQ(receipts[2]["kind"], "dismiss");
    EXPECT_EQ(receipts[3]["ts"], "");
    EXPECT_TRUE(store_.listEvents(10).empty());
}

TEST_F(EventStoreTest, ShowsAnotherConnectionWhatItKept) {
    const EventStore reader(folder_.path() / "events.db");
    keepEvent(R"({"id":"e1"})");
    EXPECT_EQ(reader.listEvents(10).size(), 1U);
}

TEST_F(EventStoreTest, IsForItsUserAlone) {
    keepEvent(R"({"id":"e1"})");
    store_.carryLogOver();
    for (const char* name : {"events.db", "events.db-wal", "events.db-shm"}) {
        struct stat facts {};
        ASSERT_EQ(::stat((folder_.path() / name).c_str(), &facts), 0) << name;
        EXPECT_EQ(facts.st_mode & 0777U, 0600U) << name;
    }
}

TEST_F(EventStoreTest, SaysWhichFileCannotBeOpened) {
    const std::string path = folder_.path() / "missing" / "events.db";
    try {
        const EventStore store(path);
        FAIL() << "opened";
    } catch (const SandboxError& error) {
        EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
    }
}

TEST(EventRecord, TellsEventsFromReceiptsAndTheRest) {
    const Publisher alice{"alice01", "D1"};
    for (const char* topic : {"app/shop/event/login/D1", "app/shop/event/geo/D1"}) {
        EXPECT_TRUE(readEvent("shop", topic, "{}", alice)) << topic;
        EXPECT_FALSE(readReceipt("shop", topic, "{}", alice)) << topic;
    }
    for (const char* topic : {"app/shop/event/seen/m1", "app/shop/event/dismiss/m1"}) {
        EXPECT_FALSE(readEvent("shop", topic, "{}", alice)) << topic;
        EXPECT_TRUE(readReceipt("shop", topic, "{}", alice)) << topic;
    }
    for (const char* topic : {"app/other/event/login/D1", "app/shop/event/login", "app/shop/event/login/D1/x",
                              "app/shop/event//D1", "app/shop/user/alice01/D1", ""}) {
        EXPECT_FALSE(readEvent("shop", topic, "{}", alice)) << topic;
        EXPECT_FALSE(readReceipt("shop", topic, "{}", alice)) << topic;
    }
}

}  // namespace
}  // namespace xel::sandbox
