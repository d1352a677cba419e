// What clients publish and send is stored by the service, and stays stored whatever ends.

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sandbox/state/SandboxInfo.h"
#include "sandbox/store/ServiceStores.h"
#include "tests/contract/Store/MountNamespace.h"
#include "tests/integration/support/CommandSupport.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::sandbox::test {
namespace {

using contract::mountDisk;
using contract::MountNamespace;

Json listed(const SandboxInfo& info, const std::string& what) {
    const HttpAnswer answer = askRest(info, "GET", "sandbox/" + what + "?limit=1000");
    EXPECT_EQ(answer.status, 200U) << answer.error;
    return answer.body.value(what, Json::array());
}

/// Takes the room on the file's disk but for so many octets.
void fillDiskUpTo(const std::filesystem::path& filler, std::uintmax_t left) {
    const std::uintmax_t room = std::filesystem::space(filler.parent_path()).available;
    ASSERT_GT(room, left);
    std::ofstream file(filler, std::ios::binary);
    file << std::string(room - left, 'f') << std::flush;
    ASSERT_TRUE(file.good());
}

class SandboxStore : public testing::Test {
protected:
    RunningSandbox sandbox_;
    std::string app_ = "app/" + sandbox_.info().appId;
    MqttTestClient alice_{sandbox_.info(), "alice01", "A1"};
};

TEST_F(SandboxStore, HasAnEventAsSoonAsItsPublicationIsAcknowledged) {
    ASSERT_EQ(alice_.connect(), 0);
    for (int i = 0; i < 20; ++i) {
        const std::string id = "e" + std::to_string(i);
        ASSERT_TRUE(alice_.publish(app_ + "/event/login/A1", R"({"id":")" + id + "\"}"));
        const Json events = listed(sandbox_.info(), "events");
        ASSERT_EQ(events.size(), static_cast<std::size_t>(i) + 1);
        EXPECT_EQ(events.back()["id"], id);
        EXPECT_EQ(events.back()["user"], "alice01");
        EXPECT_EQ(events.back()["deviceId"], "A1");
    }
}

TEST_F(SandboxStore, KeepsOneRowForEachIdWhoeverPublishes) {
    ASSERT_EQ(alice_.connect(), 0);
    ASSERT_TRUE(alice_.publish(app_ + "/event/login/A1", R"({"id":"e1","n":1})"));
    ASSERT_TRUE(alice_.publish(app_ + "/event/login/A1", R"({"id":"e1","n":1})"));
    EXPECT_EQ(askRest(sandbox_.info(), "POST", "sandbox/events",
                      Json{{"event", "login"}, {"deviceId", "X9"}, {"data", Json{{"id", "e1"}}}})
                  .status,
              200U);
    EXPECT_EQ(askRest(sandbox_.info(), "POST", "sandbox/events",
                      Json{{"event", "login"}, {"deviceId", "X9"}, {"data", Json{{"id", "e2"}}}})
                  .status,
              200U);
    const Json events = listed(sandbox_.info(), "events");
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0]["data"]["n"], 1);
    EXPECT_EQ(events[1]["deviceId"], "X9");
    EXPECT_EQ(events[1]["user"], "");
}

TEST_F(SandboxStore, KeepsReceiptsApartFromEvents) {
    ASSERT_EQ(alice_.connect(), 0);
    ASSERT_TRUE(alice_.publish(app_ + "/event/seen/m1", R"({"ts":"1514800000000.000000"})"));
    ASSERT_TRUE(alice_.publish(app_ + "/event/dismiss/m1", R"({"ts":"1514800000001.000000"})"));
    EXPECT_TRUE(listed(sandbox_.info(), "events").empty());
    const Json receipts = listed(sandbox_.info(), "receipts");
    ASSERT_EQ(receipts.size(), 2U);
    EXPECT_EQ(receipts[0]["kind"], "seen");
    EXPECT_EQ(receipts[0]["messageId"], "m1");
    EXPECT_EQ(receipts[0]["user"], "alice01");
    EXPECT_EQ(receipts[0]["ts"], "1514800000000.000000");
    EXPECT_EQ(receipts[1]["kind"], "dismiss");
}

TEST_F(SandboxStore, KeepsNothingThatAClientMayNotPublish) {
    ASSERT_EQ(alice_.connect(), 0);
    for (const std::string& topic :
         {app_ + "/event/login/B1", std::string("app/other/event/login/A1"),
          std::string("app/other/event/seen/m1"), std::string("app/other/publish/alice01/news")}) {
        EXPECT_TRUE(alice_.publish(topic, R"({"id":"forged"})")) << topic;
    }
    EXPECT_TRUE(listed(sandbox_.info(), "events").empty());
    EXPECT_TRUE(listed(sandbox_.info(), "receipts").empty());
}

TEST_F(SandboxStore, KeepsWhatWasAcknowledgedWhenTheBrokerIsKilled) {
    ASSERT_EQ(alice_.connect(), 0);
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(alice_.publish(app_ + "/event/login/A1", R"({"id":")" + std::to_string(i) + "\"}"));
    }
    ASSERT_EQ(::kill(sandbox_.service->brokerPid(), SIGKILL), 0);
    EXPECT_EQ(listed(sandbox_.info(), "events").size(), 30U);
}

TEST_F(SandboxStore, AcknowledgesNoEventThatItCannotStore) {
    ASSERT_EQ(alice_.connect(), 0);
    ASSERT_TRUE(alice_.publish(app_ + "/event/login/A1", R"({"id":"e1"})"));
    Database database(sandbox_.info().stateFolder / kEventStoreFile);
    database.run("ALTER TABLE events RENAME TO elsewhere");
    EXPECT_FALSE(alice_.publish(app_ + "/event/login/A1", R"({"id":"e2"})"));

    database.run("ALTER TABLE elsewhere RENAME TO events");
    MqttTestClient again(sandbox_.info(), "alice01", "A1");
    ASSERT_EQ(again.connect(), 0);
    EXPECT_TRUE(again.publish(app_ + "/event/login/A1", R"({"id":"e2"})"));
    EXPECT_EQ(listed(sandbox_.info(), "events").size(), 2U);
}

TEST_F(SandboxStore, EndsEveryPublishersConnectionWhileARowCannotBeWritten) {
    Database database(sandbox_.info().stateFolder / kEventStoreFile);
    ASSERT_EQ(alice_.connect(), 0);
    database.run("ALTER TABLE events RENAME TO elsewhere");
    EXPECT_FALSE(alice_.publish(app_ + "/event/login/A1", R"({"id":"e1"})"));

    MqttTestClient reader(sandbox_.info(), "bob02", "B1");
    ASSERT_EQ(reader.connect(), 0);
    ASSERT_EQ(reader.subscribe(app_ + "/user/bob02/news"), 1);
    const std::string relayed = app_ + "/publish/bob02/news";
    for (const std::string& topic : {app_ + "/event/seen/m1", app_ + "/event/login/C1", relayed,
                                     std::string("what/nobody/may/publish")}) {
        MqttTestClient publisher(sandbox_.info(), "carol03", "C1");
        ASSERT_EQ(publisher.connect(), 0);
        EXPECT_FALSE(publisher.publish(topic, R"({"id":"x"})")) << topic;
    }

    database.run("ALTER TABLE elsewhere RENAME TO events");
    MqttTestClient publisher(sandbox_.info(), "carol03", "C1");
    ASSERT_EQ(publisher.connect(), 0);
    EXPECT_TRUE(publisher.publish(relayed, R"({"messageBody":"healed"})"));
    const auto received = reader.receive();
    ASSERT_TRUE(received.has_value());
    EXPECT_EQ(received->json()["messageBody"], "healed");
    ASSERT_EQ(alice_.connect(), 0);
    EXPECT_TRUE(alice_.publish(app_ + "/event/login/A1", R"({"id":"e1"})"));
    EXPECT_EQ(listed(sandbox_.info(), "events").size(), 1U);
}

TEST_F(SandboxStore, RefusesEveryRouteWithoutTheToken) {
    const SandboxInfo& info = sandbox_.info();
    for (const char* route :
         {"/api/verification/requestCode/alice01", "/api/verification/verifyCode/alice01/1",
          "/api/installations/addTag/alice01/vip", "/api/installations/removeTag/alice01/vip",
          "/api/sandbox/codes", "/api/sandbox/events", "/api/sandbox/receipts", "/api/sandbox/crashes",
          "/api/sandbox/installations"}) {
        const HttpAnswer answer =
            askHttps(info.restPort, info.caFile, "GET", std::string(route) + "?access_token=wrong");
        EXPECT_EQ(answer.status, 401U) << route;
        EXPECT_EQ(answer.body["error"]["status"], 401) << route;
    }
    EXPECT_EQ(
        askHttps(info.restPort, info.caFile, "POST", "/api/crashReports?access_token=wrong", "{}").status,
        401U);
    EXPECT_TRUE(listed(info, "codes").empty());
    EXPECT_TRUE(listed(info, "crashes").empty());
}

TEST_F(SandboxStore, RefusesACrashReportThatIsTooLarge) {
    const std::string large(1100 * 1024, 'x');
    EXPECT_EQ(askRest(sandbox_.info(), "POST", "crashReports", Json{{"x", large}}).status, 413U);
    EXPECT_EQ(askRest(sandbox_.info(), "POST", "crashReports", Json{{"x", "small"}}).status, 200U);
}

// A large row finds no room where a small one still does: it decides what is taken, not the small one.
TEST(SandboxStoreOnASmallDisk, TakesNothingUntilThereIsRoomForWhatFoundNone) {
    WITH_MOUNTS_OF_ITS_OWN([] {
        const TemporaryFolder folder;
        const LogKeeper log;
        mountDisk(folder.path().string(), "4m");
        SandboxService service(makeOptions(folder, log));
        service.start();
        const std::string app = "app/" + service.info().appId;
        const std::string small = R"({"id":"small"})";
        const std::string large = R"({"id":"large","text":")" + std::string(300'000, 'x') + "\"}";
        MqttTestClient alice(service.info(), "alice01", "A1");
        MqttTestClient bob(service.info(), "bob02", "B1");
        ASSERT_EQ(alice.connect(), 0);
        ASSERT_EQ(bob.connect(), 0);
        ASSERT_TRUE(bob.publish(app + "/publish/alice01/news", "{}"));

        const std::filesystem::path filler = folder.path() / "filler";
        fillDiskUpTo(filler, 150'000);
        EXPECT_FALSE(alice.publish(app + "/event/login/A1", large));
        EXPECT_FALSE(bob.publish(app + "/event/login/B1", small));
        ASSERT_EQ(bob.connect(), 0);
        EXPECT_FALSE(bob.publish(app + "/publish/alice01/news", "{}"));

        std::filesystem::remove(filler);
        ASSERT_EQ(bob.connect(), 0);
        EXPECT_TRUE(bob.publish(app + "/publish/alice01/news", "{}"));
        EXPECT_TRUE(bob.publish(app + "/event/login/B1", small));
        ASSERT_EQ(alice.connect(), 0);
        EXPECT_TRUE(alice.publish(app + "/event/login/A1", large));
        EXPECT_EQ(listed(service.info(), "events").size(), 2U);
        EXPECT_TRUE(log.contains("events can be stored again"));
    });
}

TEST(SandboxStoreAndProgram, KeepsWhatWasAcknowledgedWhenTheServiceIsKilled) {
    const TemporaryFolder folder;
    const TemporaryFolder state;
    xel::test::Command service(folder, {"sandbox", "--free-ports", "--state-folder", state.path().string()});
    ASSERT_TRUE(service.readUntil("credentials and addresses"));
    const SandboxInfo info = readSandboxInfo(state.path());
    {
        MqttTestClient client(info, "alice01", "A1");
        ASSERT_EQ(client.connect(), 0);
        for (int i = 0; i < 30; ++i) {
            ASSERT_TRUE(client.publish("app/" + info.appId + "/event/login/A1",
                                       R"({"id":")" + std::to_string(i) + "\"}"));
        }
        ASSERT_TRUE(client.publish("app/" + info.appId + "/event/seen/m1", R"({"ts":"1.0"})"));
        ASSERT_EQ(::kill(info.pid, SIGKILL), 0);
    }
    service.finish();
    const EventStore events(state.path() / kEventStoreFile);
    EXPECT_EQ(events.listEvents(1000).size(), 30U);
    EXPECT_EQ(events.listReceipts(1000).size(), 1U);
}

}  // namespace
}  // namespace xel::sandbox::test
