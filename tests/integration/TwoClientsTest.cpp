// Clients of several users against the real broker and backend: what one does, the others and the service
// see.

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/FirstAndLast.h"
#include "tests/integration/support/LiveClient.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {
namespace {

using namespace std::chrono_literals;
using sandbox::Json;
using sandbox::test::askRest;
using sandbox::test::RunningSandbox;
using sandbox::test::TemporaryFolder;

class TwoClients : public testing::Test {
protected:
    // A registered client of the user, connected and with its channels granted.
    std::unique_ptr<LiveClient> connect(const std::string& user, std::vector<std::string> channels,
                                        bool hearsDeliveries = false) {
        LiveClientOptions options;
        options.home = home_.path() / user;
        options.userId = user;
        options.channels = std::move(channels);
        options.hearsDeliveries = hearsDeliveries;
        auto client = std::make_unique<LiveClient>(sandbox_.info(), options);
        client->registerUser();
        const std::size_t wanted = options.channels.size();
        EXPECT_TRUE(client->runUntil(
            [&] { return client->state() == "Connected" && client->subscribed.size() >= wanted; }));
        return client;
    }
    // The events that the client subscribes to count as channels.
    static void subscribeEvent(LiveClient& client, const std::string& name,
                               const EventSubscribeOptions& options = {}) {
        const std::size_t before = client.subscribed.size();
        client.push().subscribeEvent(name, options);
        ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() > before; }));
    }
    Json listed(const std::string& what) {
        return askRest(sandbox_.info(), "GET", "sandbox/" + what).body.value(what, Json::array());
    }
    // Runs the client's loop until the service has so many records.
    bool runUntilListed(LiveClient& client, const std::string& what, std::size_t count) {
        return client.runUntil([&] { return listed(what).size() >= count; });
    }

    RunningSandbox sandbox_;
    TemporaryFolder home_;
};

TEST_F(TwoClients, AMessageArrivesWithSenderAndTimeAndItsDeliveryIsReported) {
    const auto alice = connect("alice01", {}, true);
    const auto bob = connect("bob02", {"private/inbox"});
    const Date before = std::chrono::system_clock::now();
    PushClientMessage message = PushClientMessage::withMessage("Hello Bob", "bob02", "inbox");
    message.data = Dictionary{{"n", 7}};
    ASSERT_TRUE(alice->push().publish(message));
    alice->runFor(200ms);
    ASSERT_TRUE(bob->runUntilMessages(1));
    const PushClientMessage& received = firstOf(bob->messages);
    EXPECT_EQ(received.messageBody, "Hello Bob");
    EXPECT_EQ(received.channel, "private/inbox");
    EXPECT_EQ(received.senderId, "alice01");
    EXPECT_EQ(received.sentId, alice->push().deviceId());
    EXPECT_EQ(received.data, (Dictionary{{"n", 7}}));
    ASSERT_TRUE(received.serverTime);
    EXPECT_GE(*received.serverTime, before - 1s);
    EXPECT_LE(*received.serverTime, std::chrono::system_clock::now());

    ASSERT_TRUE(alice->runUntil([&] { return !alice->deliveries.empty(); }));
    EXPECT_EQ(alice->deliveries.front().messageId, received.id);
    EXPECT_EQ(alice->deliveries.front().deliveredUserId, "bob02");
    EXPECT_EQ(alice->deliveries.front().deliveredDeviceId, bob->push().deviceId());
}

TEST_F(TwoClients, ALargeMessageTakesTheWholeRoad) {
    const auto alice = connect("alice01", {});
    const auto bob = connect("bob02", {"private/inbox"});
    const std::string text(700 * 1024, 't');
    ASSERT_TRUE(alice->push().publish(PushClientMessage::withMessage(text, "bob02", "inbox")));
    alice->runFor(200ms);
    ASSERT_TRUE(bob->runUntilMessages(1));
    EXPECT_TRUE(firstOf(bob->messages).messageBody == text);
}

TEST_F(TwoClients, ReceiptsOfAMessageArriveAtTheService) {
    const auto bob = connect("bob02", {});
    ASSERT_TRUE(bob->push().markAsRead("m1"));
    ASSERT_TRUE(bob->push().messageDismissed("m2"));
    ASSERT_TRUE(runUntilListed(*bob, "receipts", 2));
    const Json receipts = listed("receipts");
    EXPECT_EQ(receipts[0]["kind"], "seen");
    EXPECT_EQ(receipts[0]["messageId"], "m1");
    EXPECT_EQ(receipts[0]["user"], "bob02");
    EXPECT_EQ(receipts[0]["deviceId"], bob->push().deviceId().value_or(""));
    EXPECT_EQ(receipts[1]["kind"], "dismiss");
    EXPECT_EQ(receipts[1]["messageId"], "m2");
}

TEST_F(TwoClients, AnEventReachesSubscribersOfAllInstallationsAndOfTheOne) {
    const auto alice = connect("alice01", {});
    const auto ofAll = connect("bob02", {});
    subscribeEvent(*ofAll, "login");
    const auto ofOne = connect("carol03", {});
    subscribeEvent(*ofOne, "login", {.installationId = alice->push().deviceId()});
    const auto ofAnother = connect("dave04", {"private/end"});
    subscribeEvent(*ofAnother, "login", {.installationId = ofAll->push().deviceId()});

    ASSERT_TRUE(alice->push().publishEvent("login", Dictionary{{"x", 1}}));
    ASSERT_TRUE(runUntilListed(*alice, "events", 1));
    for (LiveClient* subscriber : {ofAll.get(), ofOne.get()}) {
        ASSERT_TRUE(subscriber->runUntil([&] { return !subscriber->events.empty(); }));
        EXPECT_EQ(subscriber->events.front().eventName, "login");
        EXPECT_EQ(subscriber->events.front().deviceId, alice->push().deviceId());
        EXPECT_EQ(*subscriber->events.front().data->find("x"), Value(1));
    }
    // What comes after the event shows that the event itself did not.
    ASSERT_EQ(
        askRest(sandbox_.info(), "POST", "sandbox/messages", Json{{"user", "dave04"}, {"channel", "end"}})
            .status,
        200U);
    ASSERT_TRUE(ofAnother->runUntilMessages(1));
    EXPECT_TRUE(ofAnother->events.empty());

    const Json events = listed("events");
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["id"], firstOf(ofAll->events).id.value_or(""));
}

TEST_F(TwoClients, AnotherUserReplacesTheInstallationAndItsSubscriptions) {
    const auto client = connect("alice01", {"private/orders"});
    const std::string old = client->push().deviceId().value_or("");
    client->subscribed.clear();
    ASSERT_TRUE(client->push().registerUser("bob02", {"private/inbox"}));
    ASSERT_TRUE(client->runUntil([&] {
        return client->state() == "Connected" &&
               client->subscribed == std::vector<std::string>{"private/inbox"};
    }));
    EXPECT_EQ(client->push().userId(), "bob02");
    EXPECT_NE(client->push().deviceId(), old);
    EXPECT_EQ(askRest(sandbox_.info(), "GET", "installations/" + old).status, 404U);
    const Json installations = listed("installations");
    ASSERT_EQ(installations.size(), 1U);
    EXPECT_EQ(installations[0]["userId"], "bob02");

    for (const char* user : {"alice01", "bob02"}) {
        for (const char* channel : {"orders", "inbox"}) {
            const Json fields{{"user", user}, {"channel", channel}, {"body", user}};
            ASSERT_EQ(askRest(sandbox_.info(), "POST", "sandbox/messages", fields).status, 200U);
        }
    }
    ASSERT_TRUE(client->runUntilMessages(1));
    client->runFor(200ms);
    ASSERT_EQ(client->messages.size(), 1U);
    EXPECT_EQ(client->messages.front().messageBody, "bob02");
}

TEST_F(TwoClients, AnInstallationThatTheServiceLostIsRegisteredAnew) {
    const auto client = connect("alice01", {"private/orders"});
    const std::string old = client->push().deviceId().value_or("");
    ASSERT_EQ(askRest(sandbox_.info(), "DELETE", "installations/" + old).status, 200U);
    client->states.clear();
    ASSERT_TRUE(client->push().registerDeviceToServer());
    ASSERT_TRUE(client->runUntil([&] { return client->push().deviceId().value_or(old) != old; }));
    ASSERT_TRUE(client->runUntilState("Connected"));
    const std::string anew = client->push().deviceId().value_or("");
    EXPECT_EQ(askRest(sandbox_.info(), "GET", "installations/" + anew).status, 200U);
    EXPECT_TRUE(client->registrationErrors.empty());

    const Json fields{{"user", "alice01"}, {"channel", "orders"}, {"body", "still here"}};
    ASSERT_EQ(askRest(sandbox_.info(), "POST", "sandbox/messages", fields).status, 200U);
    ASSERT_TRUE(client->runUntilMessages(1));
}

}  // namespace
}  // namespace xel::test
