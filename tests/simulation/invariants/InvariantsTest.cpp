// Each invariant is shown a made-up history that it must pass and others that break it: one that cannot fail
// would prove nothing.

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulation/invariants/Bounds.h"
#include "tests/simulation/invariants/Connection.h"
#include "tests/simulation/invariants/Deliveries.h"
#include "tests/simulation/invariants/PacketIdentifiers.h"
#include "tests/simulation/invariants/Publications.h"
#include "tests/simulation/invariants/Registrations.h"
#include "tests/simulation/invariants/TopicsKept.h"

namespace xel::simulation {
namespace {

using History = std::vector<Fact>;

Fact fact(FactKind kind, std::string name = "") {
    Fact made{.kind = kind};
    made.name = std::move(name);
    return made;
}

Fact packetFact(FactKind kind, std::string type, std::uint16_t packetId) {
    Fact made{.kind = kind};
    made.packet.type = std::move(type);
    made.packet.packetId = packetId;
    return made;
}

Fact connects(std::string clientId) {
    Fact made = packetFact(FactKind::Written, "CONNECT", 0);
    made.packet.clientId = std::move(clientId);
    return made;
}

Fact arrived(const std::string& mark, std::uint16_t packetId, bool dup = false) {
    Fact made = packetFact(FactKind::Arrived, "PUBLISH", packetId);
    made.packet.topic = "news";
    made.packet.payload = mark;
    made.packet.id = mark;
    made.packet.qos = 1;
    made.packet.dup = dup;
    return made;
}

Fact handed(const std::string& mark) {
    Fact made = fact(FactKind::HostHears, "pushClientManagerDidReceivedMessage");
    made.mark = mark;
    return made;
}

Fact dropped(const std::string& mark, const std::string& reason) {
    Fact made = fact(FactKind::Dropped, reason);
    made.mark = mark;
    return made;
}

Fact idsStored(std::vector<std::string> ids, bool ok = true) {
    Fact made = fact(FactKind::IdsStored);
    made.list = std::move(ids);
    made.ok = ok;
    return made;
}

Fact acknowledged(std::uint16_t packetId) {
    return packetFact(FactKind::Written, "PUBACK", packetId);
}

Fact begins(std::vector<std::string> ids = {}, std::string user = "") {
    Fact made = fact(FactKind::LifeBegan, std::move(user));
    made.list = std::move(ids);
    return made;
}

Fact acts(const std::string& operation, std::vector<std::string> words = {}) {
    Fact made = fact(FactKind::HostActs, operation);
    made.list = std::move(words);
    return made;
}

Fact rests(RestFact rest) {
    Fact made = fact(FactKind::Rests);
    made.rest = std::make_shared<const RestFact>(std::move(rest));
    return made;
}

Fact connected(std::size_t unacknowledged = 0) {
    RestFact rest;
    rest.state = "Connected";
    rest.isIdentityComplete = true;
    rest.unacknowledged = unacknowledged;
    return rests(rest);
}

Fact disconnected() {
    RestFact rest;
    rest.state = "Error";
    rest.isIdentityComplete = true;
    return rests(rest);
}

Fact published(const std::string& operation, const std::string& mark, bool ok = true) {
    Fact made = fact(FactKind::HostActed, operation);
    made.mark = mark;
    made.ok = ok;
    return made;
}

Fact queued(const std::string& mark) {
    Fact made = fact(FactKind::HostActs, "publish");
    made.mark = mark;
    return made;
}

Fact publication(FactKind kind, const std::string& mark, std::uint16_t packetId) {
    Fact made = packetFact(kind, "PUBLISH", packetId);
    made.packet.topic = "news";
    made.packet.payload = mark;
    return made;
}

Fact inOutboxOf(const std::string& clientId, const std::string& mark) {
    Fact made = publication(FactKind::OutboxAppended, mark, 2);
    made.clientId = clientId;
    return made;
}

Fact saved(FactKind kind, std::int64_t request) {
    return {.kind = kind, .text = "PUT https://localhost/installations/D1", .request = request};
}

Fact remembered(TopicTable topics) {
    Fact made = fact(FactKind::TopicsRemembered);
    made.topics = std::move(topics);
    return made;
}

Fact foundOnDisk(TopicTable topics) {
    Fact made = fact(FactKind::TopicsHeld);
    made.topics = std::move(topics);
    return made;
}

TopicTable table(const std::vector<std::string>& topics) {
    TopicTable made;
    for (const auto& topic : topics) {
        made.set(topic, 1);
    }
    return made;
}

Fact restWithTopics(const std::vector<std::string>& memory, const std::vector<std::string>& broker) {
    RestFact rest;
    rest.state = "Connected";
    rest.rememberedTopics = table(memory);
    rest.topicsAtBroker = table(broker);
    return rests(rest);
}

Fact stateTold(const std::string& state) {
    return fact(FactKind::StateTold, state);
}

Fact lastAfter(Fact made) {
    made.ok = false;
    return made;
}

Fact after(Fact made, int seconds) {
    made.time = std::chrono::seconds(seconds);
    return made;
}

struct Broken {
    History history;
    const char* says;  ///< a part of what the invariant says of it
};

struct Case {
    const char* name;
    std::function<std::unique_ptr<Invariant>()> make;
    History good;
    std::vector<Broken> bad;
};

template <class T>
std::function<std::unique_ptr<Invariant>()> maker() {
    return [] { return std::make_unique<T>(); };
}

History operator+(History first, const History& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::vector<Case> cases() {
    const History turn{begins(), fact(FactKind::ConnectionBegan), arrived("in1", 1), arrived("in2", 2)};
    const History delivered = turn + History{handed("in1"), handed("in2")};
    const History stored = delivered + History{idsStored({"in1", "in2"})};
    // As many as are remembered, so that the first is forgotten before it is compared.
    std::vector<std::string> fullList{"in1"};
    for (int i = 2; i <= 25; ++i) {
        fullList.push_back("in" + std::to_string(i));
    }
    const History lastTurn = stored + History{fact(FactKind::LifeEnded), begins(fullList),
                                              fact(FactKind::ConnectionBegan), arrived("in1", 1, true)};
    const History lastTurnOnASecondConnection = stored + History{fact(FactKind::LifeEnded),
                                                                 begins(fullList),
                                                                 fact(FactKind::ConnectionBegan),
                                                                 fact(FactKind::ConnectionEnded),
                                                                 fact(FactKind::ConnectionBegan),
                                                                 arrived("in1", 1, true),
                                                                 handed("in1"),
                                                                 fact(FactKind::LifeEnded)};
    const History nextIdentity =
        stored + History{idsStored({}), arrived("in1", 1, true), handed("in1"), fact(FactKind::LifeEnded)};
    std::vector<std::string> listWithRepeats = fullList;
    listWithRepeats.back() = "in2";
    const History lastTurnThatHadComeAgain =
        stored + History{fact(FactKind::LifeEnded), begins(listWithRepeats), fact(FactKind::ConnectionBegan),
                         arrived("in1", 1, true),   handed("in1"),           fact(FactKind::LifeEnded)};
    const History copyOfAnotherSession =
        stored + History{fact(FactKind::LifeEnded), begins(fullList), fact(FactKind::ConnectionBegan),
                         arrived("in1", 7), handed("in1")};
    const Fact measured = [] {
        Fact made = fact(FactKind::Measured, "timers");
        made.number = 61;
        return made;
    }();
    const Fact subscribed = [] {
        Fact made = packetFact(FactKind::Written, "SUBSCRIBE", 3);
        made.packet.topics = table({"app/news"});
        return made;
    }();
    const Fact granted = [] {
        Fact made = packetFact(FactKind::Arrived, "SUBACK", 3);
        made.packet.codes = {1};
        return made;
    }();
    const Fact malformed = [&] {
        Fact made = granted;
        made.packet.codes = {4};
        return made;
    }();
    const Fact told = [] {
        Fact made = fact(FactKind::HostHears, "pushClientManagerDidSubscribed");
        made.text = "pushClientManagerDidSubscribed channel=news";
        return made;
    }();
    const Fact reportedAsFailed = [] {
        Fact made = fact(FactKind::HostHears, "pushClientManagerDidFailInSubscribe");
        made.text = "the subscription to topic 'app/news' is given up";
        return made;
    }();
    const Fact expired = [] {
        Fact made = arrived("in1", 1);
        made.packet.expiresAt = -1;
        return made;
    }();
    // So many others that its id has left the list.
    const History longAgo = [&] {
        History made = turn + History{handed("in1"), handed("in2")};
        for (int i = 3; i < 30; ++i) {
            const auto mark = "in" + std::to_string(i);
            made.push_back(arrived(mark, static_cast<std::uint16_t>(i)));
            made.push_back(handed(mark));
        }
        return made;
    }();
    const History ofAnotherSession =
        longAgo + History{connects("D2"), arrived("in1", 1, true), handed("in1"), fact(FactKind::LifeEnded)};
    const Fact stuck = [] {
        RestFact rest;
        rest.state = "Connected";
        rest.outboxMarks = {"out1"};
        return rests(rest);
    }();
    const Fact counted = [] {
        RestFact rest;
        rest.state = "Connected";
        rest.subscribedTopics = {"app/news"};
        return rests(rest);
    }();
    const Fact registered = fact(FactKind::HostHears, "pushClientManagerDidRegisterUser");
    const Fact out1 = publication(FactKind::OutboxAppended, "out1", 1);
    const Fact yes = published("publish", "out1");
    const Fact reached = publication(FactKind::ReachedBroker, "out1", 1);
    const Fact removed = packetFact(FactKind::OutboxRemoved, "PUBLISH", 1);
    return {
        {"Deliveries",
         maker<Deliveries>(),
         stored + History{acknowledged(1), acknowledged(2), connected(), fact(FactKind::LifeEnded)} +
             nextIdentity + lastTurnOnASecondConnection + lastTurnThatHadComeAgain + copyOfAnotherSession +
             ofAnotherSession,
         {{turn + History{acknowledged(1)}, "had not been to its end"},
          {turn + History{handed("in2")}, "which had arrived before it"},
          {delivered + History{handed("in1")}, "had not arrived"},
          {delivered + History{acknowledged(1)}, "before its id was stored"},
          {turn + History{dropped("in1", "duplicate")}, "had not come before"},
          {turn + History{dropped("in1", "expired")}, "which it is not"},
          {turn + History{dropped("in1", "reserved")}, "which it is not"},
          {turn + History{dropped("in1", "unreadable")}, "which it is not"},
          {turn + History{dropped("in1", "another reason")}, "which it is not"},
          {{begins(), fact(FactKind::ConnectionBegan), expired, handed("in1")}, "is expired, reserved or"},
          {stored + History{arrived("in1", 7), handed("in1")}, "with its id among the last ones"},
          {longAgo + History{arrived("in1", 1, true), handed("in1")}, "for want of an acknowledgement"},
          {History{connects("D1")} + longAgo +
               History{connects("D1"), arrived("in1", 1, true), handed("in1")},
           "for want of an acknowledgement"},
          {lastTurn + History{handed("in1")}, "the kill came after its id was stored"},
          {stored + History{acknowledged(1), connected(1)}, "stay at the broker"}}},
        {"Publications",
         maker<Publications>(),
         {out1, yes, reached, packetFact(FactKind::Arrived, "PUBACK", 1), removed, queued("out2"),
          publication(FactKind::OutboxAppended, "out2", 1), inOutboxOf("heir", "out2"), removed, connected(),
          stuck},
         {{{yes}, "is not on the disk"},
          {{out1, yes, connected()}, "has neither reached the broker"},
          {{out1, yes, fact(FactKind::LifeEnded), begins(), connected()}, "has neither reached the broker"},
          {{out1, yes, reached, removed, connected()}, "without an answer of the broker's"},
          {{out1, stuck}, "stays in the outbox"}}},
        {"FormerIdentity",
         maker<FormerIdentity>(),
         {queued("out1"),
          publication(FactKind::Written, "out1", 1),
          fact(FactKind::MemoryErased),
          queued("out2"),
          inOutboxOf("another", "out2"),
          fact(FactKind::MemoryErased),
          publication(FactKind::Written, "out2", 2),
          queued("out3"),
          fact(FactKind::FormerErased),
          publication(FactKind::Written, "out3", 3),
          queued("out4"),
          begins(),
          acts("registerApplication"),
          fact(FactKind::HostActed, "reset"),
          publication(FactKind::Written, "out4", 4),
          queued("out5"),
          inOutboxOf("shop/alice01/D1", "out5"),
          begins({}, "bob"),
          acts("registerApplication"),
          fact(FactKind::HostActed, "reset"),
          publication(FactKind::Written, "out5", 5)},
         {{{queued("out1"), fact(FactKind::MemoryErased), publication(FactKind::Written, "out1", 1)},
           "queued for a former user"},
          {{queued("out1"), inOutboxOf("shop/alice01/D1", "out1"), begins({}, "alice01"),
            acts("registerApplication"), fact(FactKind::HostActed, "reset"),
            publication(FactKind::Written, "out1", 1)},
           "queued for a former user"},
          {{begins(), acts("registerApplication"), acts("registerUser", {"registerUser", "alice01"}),
            queued("out1"), fact(FactKind::HostActed, "reset"), publication(FactKind::Written, "out1", 1)},
           "queued for a former user"}}},
        {"TopicsKept",
         maker<TopicsKept>(),
         {subscribed, malformed, told, subscribed, granted, remembered(table({"app/news"})), told,
          restWithTopics({"app/news"}, {"app/news"}), fact(FactKind::MemoryErased), begins(),
          foundOnDisk(table({"app/news"})), subscribed, granted, told, fact(FactKind::DiskFails),
          reportedAsFailed, lastAfter(fact(FactKind::DiskFails)), remembered({}), connected()},
         {{{subscribed, granted, told}, "the session memory does not hold it"},
          {{remembered(table({"app/news"})), remembered({}), connected()}, "nobody wanted that"},
          {{remembered(table({"app/news"})), begins(), foundOnDisk({}), connected()}, "nobody wanted that"},
          {{restWithTopics({"app/news"}, {})}, "the session memory holds app/news"},
          {{restWithTopics({}, {"app/news"})}, "the session memory holds none"},
          {{counted}, "the client counts on app/news"}}},
        {"PacketIdentifiers",
         maker<PacketIdentifiers>(),
         {out1, publication(FactKind::Written, "out1", 1), packetFact(FactKind::Arrived, "PUBACK", 1),
          removed, publication(FactKind::OutboxAppended, "out2", 1),
          publication(FactKind::Written, "out2", 1), fact(FactKind::LifeEnded), begins(),
          publication(FactKind::OutboxAppended, "out3", 1)},
         {{{out1, publication(FactKind::OutboxAppended, "out2", 1)}, "given to a second publication"},
          {{begins(), publication(FactKind::OutboxHeld, "out1", 1),
            publication(FactKind::OutboxAppended, "out2", 1)},
           "given to a second publication"},
          {{publication(FactKind::Written, "out1", 1), packetFact(FactKind::Written, "SUBSCRIBE", 1)},
           "waits for its answer"},
          {{publication(FactKind::Written, "out1", 1), fact(FactKind::ConnectionBegan),
            publication(FactKind::Written, "out1", 1)},
           "left again and did not say so"}}},
        {"Registrations",
         maker<Registrations>(),
         {begins(), saved(FactKind::Requested, 1), fact(FactKind::HostActed, "reset"),
          saved(FactKind::Requested, 2), saved(FactKind::Answered, 1), saved(FactKind::Answered, 2),
          registered},
         {{{saved(FactKind::Requested, 1), fact(FactKind::HostActed, "reset"), saved(FactKind::Requested, 2),
            saved(FactKind::Answered, 1), registered},
           "since the identity before"},
          {{saved(FactKind::Requested, 1), saved(FactKind::Answered, 1), fact(FactKind::MemoryErased),
            registered},
           "since the identity before"},
          {{saved(FactKind::Requested, 1), saved(FactKind::Answered, 1), begins(), registered},
           "since the identity before"}}},
        {"StateEdges",
         maker<StateEdges>(),
         {begins(), stateTold("Connecting"), stateTold("Connected"), stateTold("Error"),
          stateTold("Connecting")},
         {{{begins(), stateTold("Connected")}, "Connected after Disconnected"},
          {{begins(), stateTold("Connecting"), stateTold("Connecting")}, "Connecting after Connecting"},
          {{begins(), stateTold("Error")}, "Error after Disconnected"}}},
        {"KeepAlive",
         maker<KeepAlive>(),
         {acknowledged(1), after(acknowledged(1), 270), after(fact(FactKind::ConnectionEnded), 300),
          after(stateTold("Error"), 900)},
         {{{acknowledged(1), after(stateTold("Error"), 271)}, "more than 270 s"}}},
        {"HealedIsConnected",
         maker<HealedIsConnected>(),
         {begins(), stateTold("Connected"), fact(FactKind::HostActs, "disconnectFromServer"), disconnected()},
         {{{begins(), stateTold("Connected"), stateTold("Error"), disconnected()},
           "nothing stands in its way"},
          {{begins(), fact(FactKind::HostHears, "pushClientManagerDidRegisterUser"), disconnected()},
           "nothing stands in its way"}}},
        {"SilenceAfterTheEnd",
         maker<SilenceAfterTheEnd>(),
         {handed("in1")},
         {{{lastAfter(handed("in1"))}, "a client that is no more"}}},
        {"Bounds",
         maker<Bounds>(),
         {idsStored(std::vector<std::string>(25, "in1"))},
         {{{idsStored(std::vector<std::string>(26, "in1"))}, "26 ids"}, {{measured}, "61 timers"}}},
    };
}

std::optional<std::string> breachOf(Invariant& invariant, const History& history) {
    for (const auto& each : history) {
        invariant.take(each);
    }
    return invariant.breach();
}

TEST(Invariants, PassWhatIsPromised) {
    for (const auto& each : cases()) {
        const auto invariant = each.make();
        EXPECT_EQ(breachOf(*invariant, each.good), std::nullopt) << each.name;
    }
}

TEST(Invariants, AreBrokenByEachHistoryThatBreaksThem) {
    for (const auto& each : cases()) {
        for (std::size_t i = 0; i < each.bad.size(); ++i) {
            const auto invariant = each.make();
            const auto& [history, says] = each.bad[i];
            EXPECT_THAT(breachOf(*invariant, history).value_or("nothing"), testing::HasSubstr(says))
                << each.name << ", history " << i;
        }
    }
}

TEST(Invariants, AreAllTried) {
    EXPECT_EQ(makeInvariants().size(), cases().size());
}

TEST(Mark, IsFoundInTopicsAndPayloads) {
    EXPECT_EQ(markIn(R"({"id":"in12x3"})"), "in12x3");
    EXPECT_EQ(markIn("app/shop/event/seen/out7"), "out7");
    EXPECT_EQ(markIn("nothing in it"), "");
    EXPECT_EQ(markIn("login"), "");
    EXPECT_EQ(markIn("private/main1"), "");
}

}  // namespace
}  // namespace xel::simulation
