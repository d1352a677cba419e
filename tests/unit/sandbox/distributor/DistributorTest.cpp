// The distributor's rules: who may register, and the way of a message to its application.

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sdbus-c++/Types.h>

#include "sandbox/distributor/Distributor.h"
#include "sandbox/distributor/DistributorBus.h"
#include "sandbox/process/ProgressLog.h"
#include "sandbox/store/Database.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::chrono::seconds kMinute{60};
const Registration kShop{"org.example.Shop", "token-1", {}, "the shop"};

// Notes what applications are told; the test answers for them.
class FakeConnectors final : public Connectors {
public:
    void newEndpoint(const Registration& registration, const std::string& url) override {
        told.push_back(registration.service + " " + url);
    }
    void unregistered(const Registration& registration) override {
        told.push_back(registration.service + " unregistered " + registration.token);
    }
    void message(const Registration& registration, const KeptPush& push,
                 std::function<void(HandOver)> onOutcome) override {
        handed.emplace_back(registration.token + " " + push.body, std::move(onOutcome));
    }
    void answer(HandOver outcome) {
        ASSERT_FALSE(handed.empty());
        const auto onOutcome = std::move(handed.front().second);
        handed.pop_front();
        onOutcome(outcome);
    }
    // What is under way, without its numbers.
    [[nodiscard]] std::vector<std::string> underWay() const {
        std::vector<std::string> texts;
        for (const auto& [text, onOutcome] : handed) {
            texts.push_back(text);
        }
        return texts;
    }

    std::vector<std::string> told;
    std::deque<std::pair<std::string, std::function<void(HandOver)>>> handed;
};

class DistributorTest : public testing::Test {
protected:
    // The random end of the endpoint that the application was told last.
    std::string endpoint() {
        EXPECT_FALSE(connectors_.told.empty());
        return lastOf(connectors_.told).substr(lastOf(connectors_.told).rfind('/') + 1);
    }
    std::string registered(const Registration& asked) {
        EXPECT_EQ(distributor_.registerApplication(asked), "");
        return endpoint();
    }

    test::TemporaryFolder folder_;
    Database database_{folder_.path() / "distributor.db"};
    RegistrationStore registrations_{database_};
    PushMessageStore messages_{database_};
    FakeConnectors connectors_;
    std::vector<std::string> lines_;
    ProgressLog log_{[this](std::string_view line) { lines_.emplace_back(line); }};
    std::int64_t now_{1'000'000};
    Distributor distributor_{registrations_, messages_, connectors_, log_, [this] { return now_; }};
};

TEST_F(DistributorTest, GivesEachRegistrationARandomEndpoint) {
    distributor_.start(8123);
    const std::string first = registered(kShop);
    EXPECT_EQ(lastOf(connectors_.told), "org.example.Shop http://127.0.0.1:8123/push/" + first);
    EXPECT_EQ(first.size(), 32U);
    EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_NE(registered({"org.example.Shop", "token-2", {}, {}}), first);
    EXPECT_EQ(registered(kShop), first) << "it is told again, and is the same";
}

TEST_F(DistributorTest, RefusesWhatIsNoRegistration) {
    const std::string longest(100, 'x');
    const std::vector<std::pair<const char*, Registration>> cases{
        {"no service", {"", "t", {}, {}}},
        {"one element", {"shop", "t", {}, {}}},
        {"a unique name", {":1.5", "t", {}, {}}},
        {"an empty element", {"org..shop", "t", {}, {}}},
        {"a dot at the end", {"org.shop.", "t", {}, {}}},
        {"a digit first", {"org.7shop", "t", {}, {}}},
        {"another character", {"org.example/shop", "t", {}, {}}},
        {"too long a name", {"org." + std::string(252, 'x'), "t", {}, {}}},
        {"no token", {"org.example.Shop", "", {}, {}}},
        {"too long a token", {"org.example.Shop", longest + "x", {}, {}}},
        {"too long a description", {"org.example.Shop", "t", {}, longest + "x"}},
    };
    for (const auto& [name, asked] : cases) {
        EXPECT_EQ(distributor_.registerApplication(asked), "INTERNAL_ERROR") << name;
    }
    EXPECT_THAT(connectors_.told, IsEmpty());
    registered({"_a.b-" + std::string(250, 'x'), longest, {}, longest});
}

TEST_F(DistributorTest, KeepsATokenForTheApplicationThatHasIt) {
    registered(kShop);
    EXPECT_EQ(distributor_.registerApplication({"org.example.Other", kShop.token, {}, {}}), "INTERNAL_ERROR");
    EXPECT_THAT(connectors_.told, SizeIs(1));
}

TEST_F(DistributorTest, HasALimitOfRegistrations) {
    database_.run("BEGIN");
    for (std::size_t i = 0; i < Distributor::kMostRegistrations; ++i) {
        registrations_.add({"org.example.Shop", std::to_string(i), std::to_string(i), {}});
    }
    database_.run("COMMIT");
    EXPECT_EQ(distributor_.registerApplication(kShop), "ACTION_REQUIRED");
    EXPECT_EQ(distributor_.registerApplication({"org.example.Shop", "7", {}, {}}), "")
        << "it is there already";
}

TEST_F(DistributorTest, ForgetsAnApplicationThatUnregisters) {
    const std::string end = registered(kShop);
    distributor_.push(end, "m1", kMinute);
    distributor_.unregisterApplication(kShop.token);
    EXPECT_EQ(lastOf(connectors_.told), "org.example.Shop unregistered token-1");
    EXPECT_FALSE(distributor_.push(end, "m2", kMinute));
    connectors_.answer(HandOver::NotThere);
    const auto told = connectors_.told.size();
    distributor_.unregisterApplication(kShop.token);
    distributor_.unregisterApplication("unknown");
    EXPECT_EQ(connectors_.told.size(), told);
    EXPECT_NE(registered(kShop), end);
    EXPECT_THAT(connectors_.handed, IsEmpty()) << "its messages went with it";
}

TEST_F(DistributorTest, HandsMessagesOverInOrderOneAfterTheOther) {
    const std::string shop = registered(kShop);
    const std::string news = registered({"org.example.News", "token-2", {}, {}});
    for (const char* body : {"m1", "m2", "m3"}) {
        EXPECT_TRUE(distributor_.push(shop, body, kMinute));
    }
    EXPECT_TRUE(distributor_.push(news, std::string("\0\xFF", 2), kMinute));
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 m1", "token-2 " + std::string("\0\xFF", 2)));
    connectors_.answer(HandOver::Taken);
    connectors_.answer(HandOver::Taken);
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 m2"));
    connectors_.answer(HandOver::Refused);
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 m3")) << "what is refused is not tried again";
    connectors_.answer(HandOver::Taken);
    EXPECT_THAT(connectors_.handed, IsEmpty());
}

TEST_F(DistributorTest, TriesAgainWhenTheApplicationComes) {
    const std::string end = registered(kShop);
    const std::vector<std::pair<const char*, std::function<void()>>> occasions{
        {"its name appears", [&] { distributor_.serviceAppeared("org.example.Shop"); }},
        {"it registers", [&] { registered(kShop); }},
        {"the distributor starts", [&] { distributor_.start(8123); }},
        {"the next message comes", [&] { distributor_.push(end, "m2", kMinute); }}};
    distributor_.push(end, "m1", kMinute);
    for (const auto& [name, happen] : occasions) {
        connectors_.answer(HandOver::NotThere);
        distributor_.serviceAppeared("org.example.Other");
        ASSERT_THAT(connectors_.handed, IsEmpty()) << name;
        happen();
        ASSERT_THAT(connectors_.underWay(), ElementsAre("token-1 m1")) << name;
    }
    connectors_.answer(HandOver::Taken);
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 m2"));
}

TEST_F(DistributorTest, GivesUpWhatHasOutlivedItsTime) {
    const std::string end = registered(kShop);
    distributor_.push(end, "at once or never", std::chrono::seconds(0));
    distributor_.push(end, "for a minute", kMinute);
    now_ += 120'000;
    connectors_.answer(HandOver::NotThere);
    distributor_.serviceAppeared("org.example.Shop");
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 for a minute")) << "each is tried once";
    connectors_.answer(HandOver::NotThere);
    distributor_.serviceAppeared("org.example.Shop");
    EXPECT_THAT(connectors_.handed, IsEmpty());
}

TEST_F(DistributorTest, KeepsAHundredMessagesForAnApplication) {
    const std::string end = registered(kShop);
    for (std::size_t i = 0; i < PushMessageStore::kMostForOne + 5; ++i) {
        distributor_.push(end, std::to_string(i), kMinute);
    }
    EXPECT_THAT(lines_, Contains(HasSubstr("the oldest is given up")));
    connectors_.answer(HandOver::Taken);
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 5"));
}

TEST_F(DistributorTest, KeepsRegistrationsAndMessagesOverARestart) {
    distributor_.start(8123);
    const std::string end = registered(kShop);
    distributor_.push(end, "m1", kMinute);
    connectors_.answer(HandOver::NotThere);
    connectors_.told.clear();

    Database database(folder_.path() / "distributor.db");
    RegistrationStore registrations(database);
    PushMessageStore messages(database);
    Distributor again(registrations, messages, connectors_, log_, [this] { return now_; });
    again.start(8123);
    EXPECT_THAT(connectors_.told, IsEmpty()) << "the endpoint is the same";
    EXPECT_THAT(connectors_.underWay(), ElementsAre("token-1 m1"));
    EXPECT_TRUE(again.push(end, "m2", kMinute));

    Distributor elsewhere(registrations, messages, connectors_, log_, [this] { return now_; });
    elsewhere.start(8124);
    EXPECT_THAT(connectors_.told, ElementsAre("org.example.Shop http://127.0.0.1:8124/push/" + end));
}

TEST_F(DistributorTest, IsNotAskedForWhenItHasGone) {
    const std::string end = registered(kShop);
    {
        Distributor brief(registrations_, messages_, connectors_, log_, [this] { return now_; });
        brief.push(end, "m1", kMinute);
    }
    connectors_.answer(HandOver::Taken);
    EXPECT_TRUE(messages_.first(kShop.token)) << "nobody has noted it";
}

TEST(DistributorFields, SpellARegistration) {
    using Fields = std::map<std::string, sdbus::Variant>;
    const auto text = [](const std::string& value) { return sdbus::Variant(value); };
    const auto read = readRegistration({{"service", text("org.example.Shop")},
                                        {"token", text("t")},
                                        {"description", text("d")},
                                        {"vapid", text(std::string(87, 'B'))},
                                        {"more", sdbus::Variant(7)}});
    ASSERT_TRUE(read);
    EXPECT_EQ(read->service, "org.example.Shop");
    EXPECT_EQ(read->token, "t");
    EXPECT_EQ(read->description, "d");
    EXPECT_TRUE(readRegistration({{"service", text("org.example.Shop")}, {"token", text("t")}}));
    for (const char* key : {"service", "token", "description", "vapid"}) {
        Fields fields{{"service", text("org.example.Shop")}, {"token", text("t")}};
        fields[key] = sdbus::Variant(7);
        EXPECT_FALSE(readRegistration(fields)) << key;
    }
    EXPECT_FALSE(
        readRegistration({{"service", text("a.b")}, {"token", text("t")}, {"vapid", text("short")}}));
}

TEST(DistributorErrors, SayWhetherTheApplicationIsThere) {
    for (const char* name :
         {"ServiceUnknown", "NameHasNoOwner", "Spawn.ChildExited", "Spawn.ExecFailed", "NoReply", "TimedOut",
          "Disconnected", "UnknownObject", "UnknownInterface", "UnknownMethod"}) {
        EXPECT_EQ(outcomeOf(std::string("org.freedesktop.DBus.Error.") + name), HandOver::NotThere) << name;
    }
    for (const char* name : {"org.freedesktop.DBus.Error.Failed", "org.freedesktop.DBus.Error.InvalidArgs",
                             "org.freedesktop.DBus.Error.AccessDenied", "org.example.NotToday", ""}) {
        EXPECT_EQ(outcomeOf(name), HandOver::Refused) << name;
    }
}

}  // namespace
}  // namespace xel::sandbox
