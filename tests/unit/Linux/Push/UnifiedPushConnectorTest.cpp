#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Push/UnifiedPushConnector.h"
#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/Linux/Push/WebPushSender.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kOne = "org.unifiedpush.Distributor.one";
constexpr const char* kTwo = "org.unifiedpush.Distributor.two";
constexpr const char* kEndpoint = "https://push.example/1";
constexpr const char* kOtherEndpoint = "https://push.example/2";

/// A bus whose distributors answer when the test says so.
class FakeUnifiedPushBus : public UnifiedPushBus {
public:
    explicit FakeUnifiedPushBus(std::shared_ptr<FakeRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    void open(Calls toMake) override { calls = std::move(toMake); }
    void findDistributors(Found found) override {
        if (!isSilent) {
            runLoop_->post([found, result = names] { found(result); });
        }
    }
    void registerWith(const std::string& distributor, const std::string& token,
                      Registered registered) override {
        registrations.emplace_back(distributor, token);
        answers.push_back(std::move(registered));
    }
    void unregisterFrom(const std::string& distributor, const std::string& token) override {
        endings.emplace_back(distributor, token);
    }

    Calls calls;
    Result<DistributorNames> names = DistributorNames{{kOne}, {}};
    bool isSilent = false;
    std::vector<std::pair<std::string, std::string>> registrations;
    std::vector<Registered> answers;
    std::vector<std::pair<std::string, std::string>> endings;

private:
    std::shared_ptr<FakeRunLoop> runLoop_;
};

class UnifiedPushConnectorTest : public ::testing::Test {
protected:
    UnifiedPushConnectorTest() { start(); }

    /// A new process on the same disk.
    void start(const std::string& preferred = "", bool withHome = true) {
        connector_.reset();
        store_.reset();
        bus_ = std::make_shared<FakeUnifiedPushBus>(runLoop_);
        connector_ = std::make_unique<UnifiedPushConnector>(
            UnifiedPushConnector::Surroundings{runLoop_, log_, std::make_shared<SimdjsonSerialization>(),
                                               bus_, preferred},
            UnifiedPushConnector::Events{
                [this](const Data& token) { changes_.emplace_back(token.begin(), token.end()); },
                [this](const Dictionary& payload) { notifications_.push_back(payload); }});
        if (withHome) {
            openHome();
        }
    }
    void openHome() {
        store_ = InMemoryUserDefaults::open(disk_).value();
        connector_->attachStore(store_);
    }
    void request() {
        connector_->requestToken([this](const Result<Data>& token) {
            heard_.push_back(token ? std::string(token.value().begin(), token.value().end())
                                   : token.error().domain + " " + std::to_string(token.error().code));
        });
        runLoop_->runUntilIdle();
    }
    [[nodiscard]] std::string token() const { return lastOf(bus_->registrations).second; }
    void newEndpoint(const std::string& endpoint) {
        bus_->calls.newEndpoint(token(), endpoint);
        runLoop_->runUntilIdle();
    }
    /// A host that has its token.
    void registerHost(const std::string& endpoint = kEndpoint) {
        request();
        newEndpoint(endpoint);
        ASSERT_THAT(heard_, SizeIs(1));
        ASSERT_THAT(heard_.front(), HasSubstr(endpoint));
        heard_.clear();
    }
    [[nodiscard]] Data encrypted(const std::string& content) const {
        const auto keys = loadRegistration(*store_)->keys;
        return test::encryptedForWebPush(keys.publicKey(), keys.authSecret(), content);
    }
    void message(const std::string& name, const Data& octets) {
        bus_->calls.message(name, octets);
        runLoop_->runUntilIdle();
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    std::shared_ptr<InMemoryUserDefaults> store_;
    std::shared_ptr<FakeUnifiedPushBus> bus_;
    std::unique_ptr<UnifiedPushConnector> connector_;
    std::vector<std::string> heard_;
    std::vector<std::string> changes_;
    std::vector<Dictionary> notifications_;
};

std::string errorText(UnifiedPushErrorCode code) {
    return "UnifiedPush " + std::to_string(static_cast<std::int64_t>(code));
}

TEST_F(UnifiedPushConnectorTest, AnswersOnceTheEndpointIsThere) {
    request();
    EXPECT_THAT(bus_->registrations, SizeIs(1));
    EXPECT_EQ(bus_->registrations[0].first, kOne);
    bus_->answers[0](std::nullopt);
    runLoop_->runUntilIdle();
    EXPECT_THAT(heard_, IsEmpty());
    newEndpoint(kEndpoint);
    const auto kept = loadRegistration(*store_);
    ASSERT_TRUE(kept.has_value());
    EXPECT_EQ(kept->endpoint, kEndpoint);
    const Data wanted = deviceTokenOf(*kept);
    EXPECT_THAT(heard_, ElementsAre(std::string(wanted.begin(), wanted.end())));
    EXPECT_THAT(changes_, IsEmpty());
    runLoop_->advanceBy(1h);
    EXPECT_THAT(heard_, SizeIs(1)) << "the time is no longer counted";
}

TEST_F(UnifiedPushConnectorTest, TakesAnEndpointThatComesBeforeTheAnswer) {
    request();
    newEndpoint(kEndpoint);
    EXPECT_THAT(heard_, SizeIs(1));
    bus_->answers[0](makeUnifiedPushError(UnifiedPushErrorCode::Refused, "no"));
    runLoop_->runUntilIdle();
    EXPECT_THAT(heard_, SizeIs(1));
}

TEST_F(UnifiedPushConnectorTest, RegistersOnceForAllWhoAskMeanwhile) {
    request();
    request();
    EXPECT_THAT(bus_->registrations, SizeIs(1));
    newEndpoint(kEndpoint);
    EXPECT_THAT(heard_, SizeIs(2));
    request();
    EXPECT_THAT(bus_->registrations, SizeIs(2)) << "the endpoint may be another one by now";
    newEndpoint(kEndpoint);
    EXPECT_THAT(heard_, SizeIs(3));
    EXPECT_THAT(changes_, IsEmpty());
}

TEST_F(UnifiedPushConnectorTest, SaysWhyThereIsNoToken) {
    bus_->names = DistributorNames{};
    request();
    EXPECT_THAT(heard_, ElementsAre(errorText(UnifiedPushErrorCode::NoDistributor)));

    bus_->names = makeError("DBusError", 1, "no bus");
    request();
    EXPECT_EQ(lastOf(heard_), "DBusError 1");

    bus_->names = DistributorNames{{}, {kTwo}};
    request();
    lastOf(bus_->answers)(makeUnifiedPushError(UnifiedPushErrorCode::Refused, "no"));
    runLoop_->runUntilIdle();
    EXPECT_EQ(lastOf(heard_), errorText(UnifiedPushErrorCode::Refused));

    disk_->setFailingCommits(true);
    bus_->names = DistributorNames{{kOne}, {}};
    request();
    EXPECT_EQ(lastOf(heard_), errorText(UnifiedPushErrorCode::NotStored));
    EXPECT_EQ(lastOf(bus_->registrations).first, kTwo) << "what is not kept is not registered";

    store_.reset();
    request();
    EXPECT_EQ(lastOf(heard_), errorText(UnifiedPushErrorCode::NotStored));
    EXPECT_THAT(heard_, SizeIs(5));
}

TEST_F(UnifiedPushConnectorTest, WaitsTenSeconds) {
    request();
    bus_->answers[0](std::nullopt);
    runLoop_->advanceBy(10s - 1ms);
    EXPECT_THAT(heard_, IsEmpty());
    runLoop_->advanceBy(1ms);
    EXPECT_THAT(heard_, ElementsAre(errorText(UnifiedPushErrorCode::TimedOut)));
    newEndpoint(kEndpoint);
    EXPECT_THAT(heard_, SizeIs(1));
    EXPECT_THAT(changes_, ElementsAre(HasSubstr(kEndpoint))) << "late is better than never";

    heard_.clear();
    bus_->isSilent = true;
    request();
    runLoop_->advanceBy(10s);
    EXPECT_THAT(heard_, ElementsAre(errorText(UnifiedPushErrorCode::TimedOut)));
}

TEST_F(UnifiedPushConnectorTest, PaysNoHeedToALateAnswer) {
    request();
    runLoop_->advanceBy(10s);
    request();
    bus_->answers[0](makeUnifiedPushError(UnifiedPushErrorCode::Refused, "no"));
    runLoop_->runUntilIdle();
    EXPECT_THAT(heard_, SizeIs(1)) << "it belongs to the attempt before";
    newEndpoint(kEndpoint);
    EXPECT_THAT(heard_, SizeIs(2));
}

TEST_F(UnifiedPushConnectorTest, TellsAChangedEndpointOnce) {
    registerHost();
    newEndpoint(kEndpoint);
    EXPECT_THAT(changes_, IsEmpty()) << "nothing has changed";
    newEndpoint(kOtherEndpoint);
    newEndpoint(kOtherEndpoint);
    EXPECT_THAT(changes_, ElementsAre(HasSubstr(kOtherEndpoint)));
    EXPECT_THAT(heard_, IsEmpty());
    EXPECT_EQ(loadRegistration(*store_)->endpoint, kOtherEndpoint);
}

TEST_F(UnifiedPushConnectorTest, TellsTheOthersOfAnEndpointThatOneIsAnsweredWith) {
    registerHost();
    request();
    newEndpoint(kOtherEndpoint);
    EXPECT_THAT(heard_, ElementsAre(HasSubstr(kOtherEndpoint)));
    EXPECT_THAT(changes_, ElementsAre(HasSubstr(kOtherEndpoint)));
}

TEST_F(UnifiedPushConnectorTest, ForgetsTheEndpointWhenTheDistributorEndsIt) {
    registerHost();
    const std::string kept = token();
    bus_->calls.unregistered("another");
    EXPECT_EQ(loadRegistration(*store_)->endpoint, kEndpoint);
    EXPECT_THAT(log_->lines(), IsEmpty());
    bus_->calls.unregistered(kept);
    EXPECT_EQ(loadRegistration(*store_)->endpoint, "");
    EXPECT_THAT(log_->lines(), ElementsAre(HasSubstr(kOne)));
    newEndpoint(kEndpoint);
    EXPECT_THAT(changes_, SizeIs(1)) << "the same endpoint is news then";
}

TEST_F(UnifiedPushConnectorTest, KeepsItsTokenAndKeysOverARestart) {
    registerHost();
    const std::string kept = token();
    const auto publicKey = loadRegistration(*store_)->keys.publicKey();
    start();
    registerHost();
    EXPECT_EQ(token(), kept);
    EXPECT_EQ(loadRegistration(*store_)->keys.publicKey(), publicKey);
    EXPECT_THAT(bus_->endings, IsEmpty());
}

TEST_F(UnifiedPushConnectorTest, StaysWithItsDistributorWhileItIsThere) {
    bus_->names = DistributorNames{{kTwo}, {}};
    registerHost();
    start();
    bus_->names = DistributorNames{{kOne}, {kTwo}};
    registerHost();
    EXPECT_EQ(lastOf(bus_->registrations).first, kTwo);
}

TEST_F(UnifiedPushConnectorTest, AnotherDistributorGetsARegistrationOfItsOwn) {
    registerHost();
    const std::string former = token();
    const auto publicKey = loadRegistration(*store_)->keys.publicKey();
    start(kTwo);
    bus_->names = DistributorNames{{kOne, kTwo}, {}};
    registerHost(kOtherEndpoint);
    EXPECT_EQ(lastOf(bus_->registrations).first, kTwo);
    EXPECT_NE(token(), former);
    EXPECT_NE(loadRegistration(*store_)->keys.publicKey(), publicKey);
    EXPECT_THAT(bus_->endings, ElementsAre(std::pair(std::string(kOne), former)));

    start();
    bus_->names = DistributorNames{{}, {kOne}};
    registerHost();
    EXPECT_THAT(bus_->endings, IsEmpty()) << "the one of before is not there to be told";
}

TEST_F(UnifiedPushConnectorTest, HandsAMessageOver) {
    registerHost();
    message(token(), encrypted(R"({"id": "m1", "count": 3})"));
    EXPECT_THAT(notifications_, ElementsAre(Dictionary{{"id", "m1"}, {"count", 3}}));
    EXPECT_THAT(log_->lines(), IsEmpty());
}

TEST_F(UnifiedPushConnectorTest, IgnoresAnUnknownToken) {
    registerHost();
    message("another", encrypted(R"({"id": "m1"})"));
    bus_->calls.newEndpoint("another", kOtherEndpoint);
    runLoop_->runUntilIdle();
    EXPECT_THAT(notifications_, IsEmpty());
    EXPECT_THAT(changes_, IsEmpty());
    EXPECT_THAT(log_->lines(), IsEmpty());
}

TEST_F(UnifiedPushConnectorTest, DropsWhatIsNoNotificationWithALogLine) {
    registerHost();
    const Data good = encrypted(R"({"id": "m1"})");
    Data changed = good;
    changed.back() ^= 1U;
    const std::vector<std::pair<std::string, Data>> table = {
        {"plain", Data{'{', '}'}},
        {"changed", changed},
        {"for other keys",
         test::encryptedForWebPush(WebPushKeys::make().value().publicKey(), Data(16, 1), "{}")},
        {"an array", encrypted("[1]")},
        {"a text", encrypted("\"private words\"")},
        {"no JSON", encrypted("private words")},
        {"nothing", encrypted("")},
    };
    for (const auto& [what, octets] : table) {
        log_->clear();
        message(token(), octets);
        EXPECT_THAT(log_->lines(), SizeIs(1)) << what;
        EXPECT_FALSE(log_->contains("private words")) << what;
    }
    EXPECT_THAT(notifications_, IsEmpty());
    message(token(), good);
    EXPECT_THAT(notifications_, SizeIs(1));
}

TEST_F(UnifiedPushConnectorTest, KeepsWhatComesBeforeAHomeIsOpen) {
    registerHost();
    const std::string kept = token();
    const Data octets = encrypted(R"({"id": "m1"})");
    start("", false);
    message(kept, octets);
    bus_->calls.newEndpoint(kept, kOtherEndpoint);
    EXPECT_THAT(notifications_, IsEmpty());
    openHome();
    EXPECT_THAT(notifications_, IsEmpty()) << "never from inside";
    runLoop_->runUntilIdle();
    EXPECT_THAT(notifications_, ElementsAre(Dictionary{{"id", "m1"}}));
    EXPECT_EQ(loadRegistration(*store_)->endpoint, kOtherEndpoint);
}

TEST_F(UnifiedPushConnectorTest, KeepsTheNewestOfTooMany) {
    registerHost();
    const std::string kept = token();
    std::vector<Data> messages;
    for (int number = 1; number <= 65; ++number) {
        messages.push_back(encrypted(R"({"number": )" + std::to_string(number) + "}"));
    }
    start("", false);
    for (const auto& octets : messages) {
        message(kept, octets);
    }
    EXPECT_THAT(log_->lines(), SizeIs(1));
    openHome();
    runLoop_->runUntilIdle();
    ASSERT_THAT(notifications_, SizeIs(64));
    EXPECT_EQ(*notifications_.front().find("number"), Value(2));
}

TEST_F(UnifiedPushConnectorTest, LetsAHomeGoAndTakesTheNext) {
    registerHost();
    const std::string kept = token();
    const auto second = InMemoryUserDefaults::open(disk_, "second").value();
    connector_->attachStore(second);
    registerHost();
    EXPECT_EQ(token(), kept) << "the first home keeps it";
    EXPECT_FALSE(loadRegistration(*second).has_value());
    store_.reset();
    openHome();
    registerHost();
    EXPECT_EQ(token(), kept) << "closed and opened again";
    store_.reset();
    connector_->attachStore(second);
    store_ = second;
    registerHost();
    EXPECT_NE(token(), kept);
}

TEST_F(UnifiedPushConnectorTest, MayBeDroppedAtAnyTime) {
    request();
    connector_.reset();
    bus_->answers[0](makeUnifiedPushError(UnifiedPushErrorCode::Refused, "no"));
    bus_->calls.newEndpoint(token(), kEndpoint);
    bus_->calls.message(token(), Data{1});
    bus_->calls.unregistered(token());
    runLoop_->advanceBy(1h);
    EXPECT_THAT(heard_, IsEmpty());
}

}  // namespace
}  // namespace xel
