#include <mutex>
#include <thread>

#include "XelPushClient/Classes/PushClientManager.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;

class CrashReportsTest : public RoomsTest {
protected:
    CrashReportsTest() {
        addDelegate();
        switchLogOn();
    }

    void crash(CrashReportOptions options = {}, const Dictionary& userInfo = {}) {
        rooms_->crashReports.applicationCrashedWithUserInfo(userInfo, options);
    }
    std::vector<HTTPRequest> sent() { return machine_.http->requestsTo("POST", "crashReports"); }
    Dictionary bodyOf(const HTTPRequest& request) {
        const auto body = machine_.json->JSONObjectWithData(request.body);
        EXPECT_TRUE(body) << request.body;
        return body ? *body.value().asDictionary() : Dictionary();
    }
};

TEST_F(CrashReportsTest, AreRefusedUntilTheClientIsRegistered) {
    struct Row {
        std::string what;
        std::function<void()> prepare;
    };
    const std::vector<Row> table = {
        {"nothing is known", [] {}},
        {"no device id", [this] { registerApplication(); }},
        {"no application version",
         [this] {
             changeApplication([](auto& application) { application.appVersion.reset(); });
             rooms_->settings.setDeviceId("D3V1CE");
         }},
        {"no application id",
         [this] {
             registerApplication();
             changeApplication([](auto& application) { application.appId.reset(); });
         }},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        row.prepare();
        (void)takeHeard();
        rooms_->lastFailure.remember(makeError("another", 1, "failure"));
        crash({.saveOnDisk = true});
        EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailRegisterUser -5009"))
            << "before the call returned";
        ASSERT_TRUE(rooms_->lastFailure.error());
        const NSError error = *rooms_->lastFailure.error();
        EXPECT_EQ(error.code, -5009);
        EXPECT_EQ(error.localizedDescription(), "Framework Not Initialized Yet.");
        EXPECT_EQ(error.localizedFailureReason(), "");
        EXPECT_EQ(error.localizedRecoverySuggestion(),
                  "First Register Application and Use applicationCrashedWithUserInfo");
        machine_.runUntilIdle();
        EXPECT_THAT(sent(), IsEmpty());
        EXPECT_THAT(machine_.files->files(), IsEmpty());
    }
}

TEST_F(CrashReportsTest, AreSentToTheBackend) {
    identify();
    rooms_->settings.setLaunchStats();
    const auto launchTime = rooms_->settings.getLaunchTime();
    machine_.device->setSystemVersion("12.4");
    crash({}, Dictionary{{"screen", "cart"}, {"APP_ID", "theirs"}});
    EXPECT_THAT(sent(), IsEmpty()) << "sent from the queue";
    machine_.runUntilIdle();
    ASSERT_EQ(sent().size(), 1U);
    const auto request = firstOf(sent());
    EXPECT_EQ(request.url, "https://a1b2c3.push.xelpush.example/api/crashReports?access_token=key");
    EXPECT_THAT(request.headers, testing::Contains(std::pair("Content-Type", "application/json")));
    EXPECT_THAT(request.headers,
                testing::Contains(std::pair("Content-Lenght", std::to_string(request.body.size()))));
    const auto body = bodyOf(request);
    EXPECT_EQ(*body.find("CUSTOM_DATA"),
              Value(Dictionary{{"screen", "cart"}, {"APP_ID", "a1b2c3"}, {"DEVICE_ID", "D3V1CE"}}));
    EXPECT_EQ(*body.find("OS_VERSION"), Value("12.4"));
    EXPECT_EQ(*body.find("USER_APP_START_DATE"), Value(launchTime));
    EXPECT_EQ(*body.find("STACK_TRACE"), Value(Array{"0 host crash + 12", "1 host main + 34"}));
    EXPECT_THAT(machine_.files->files(), IsEmpty()) << "saving was not asked for";
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(CrashReportsTest, CarryTheKeyInTheirPathAsItIs) {
    identify();
    changeApplication([](auto& application) { application.apiKey = "k/y+1="; });
    rooms_->tags.addTag("vip", nullptr, nullptr);
    crash();
    machine_.runUntilIdle();
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_THAT(firstOf(sent()).url, testing::EndsWith("/crashReports?access_token=k/y+1="));
    EXPECT_THAT(firstOf(machine_.http->requests()).url, testing::EndsWith("/vip?access_token=k/y+1="))
        << "as the other paths do";
}

TEST_F(CrashReportsTest, GoToTheEnvironmentOfTheMoment) {
    identify();
    setDevelopmentEnvironment(true);
    crash();
    machine_.runUntilIdle();
    changeApplication([](auto& application) { application.appId = "tavrin-demo"; });
    setDevelopmentEnvironment(false);
    crash();
    machine_.runUntilIdle();
    ASSERT_EQ(sent().size(), 2U);
    EXPECT_THAT(sent()[0].url, HasSubstr("https://localhost:8443/api/crashReports?"));
    EXPECT_THAT(sent()[1].url, HasSubstr("https://push.xelpush.example/api/crashReports?"));
}

TEST_F(CrashReportsTest, TakeStackAndDataAtTheCall) {
    identify();
    machine_.threads->setCallStackSymbols({"0 at the call"});
    Dictionary userInfo{{"step", 1}};
    crash({}, userInfo);
    EXPECT_EQ(machine_.threads->asker(), std::this_thread::get_id()) << "the crashing thread's own stack";
    machine_.threads->setCallStackSymbols({"0 later"});
    userInfo.set("step", 2);
    rooms_->settings.setDeviceId("ANOTHER");
    machine_.advanceBy(std::chrono::seconds(5));
    const auto body = bodyOf(sent().at(0));
    EXPECT_EQ(*body.find("STACK_TRACE"), Value(Array{"0 at the call"}));
    EXPECT_EQ(*body.find("CUSTOM_DATA")->asDictionary()->find("step"), Value(1));
    EXPECT_EQ(*body.find("DEVICE_ID"), Value("D3V1CE"));
}

TEST_F(CrashReportsTest, AreSavedWhenAskedFor) {
    identify();
    machine_.clock->setDate(dateFromSecondsSince1970(1514800123.5));
    crash({.saveOnDisk = true});
    machine_.runUntilIdle();
    const std::string path = "/documents/home/crash-2018-01-01 09:48:43 +0000.log";
    EXPECT_THAT(machine_.files->files(), ElementsAre(Key(path)));
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(machine_.files->contents(path), firstOf(sent()).body);
}

TEST_F(CrashReportsTest, OfOneSecondAreAllKept) {
    identify();
    for (int i = 0; i < 3; ++i) {
        crash({.saveOnDisk = true}, Dictionary{{"number", i}});
    }
    machine_.runUntilIdle();
    EXPECT_EQ(machine_.files->files().size(), 3U);
    EXPECT_EQ(sent().size(), 3U);
}

TEST_F(CrashReportsTest, AreSentAlsoWhenTheyCannotBeSaved) {
    identify();
    machine_.files->setFailing(true);
    crash({.saveOnDisk = true});
    machine_.runUntilIdle();
    EXPECT_EQ(sent().size(), 1U);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(CrashReportsTest, LogWhatTheBackendSays) {
    identify();
    (void)takeLog();
    machine_.http->answer("POST", "crashReports", 200, "{\"id\":7}");
    crash();
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("CrashReport response {\"id\":7}"));
    machine_.http->fail("POST", "crashReports", NSURLErrorCode::TimedOut, "it took too long");
    crash();
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("CrashReport Error it took too long"));
    machine_.http->answer("POST", "crashReports", 500, "no");
    crash();
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("CrashReport Error Expected a status of 200 to 299, got 500"));
    EXPECT_THAT(takeHeard(), IsEmpty()) << "the host hears of neither";
}

TEST_F(CrashReportsTest, AnswerToNobodyWhenTheClientIsGone) {
    identify();
    crash();
    machine_.runUntilIdle();
    rooms_.reset();
    machine_.http->answer("POST", "crashReports", 200, "{}");
    EXPECT_NO_THROW(machine_.runUntilIdle());
}

TEST_F(CrashReportsTest, KnowTheIdentityOfAnEarlierStart) {
    identify();
    rooms_->settings.setLaunchStats();
    const auto launchTime = rooms_->settings.getLaunchTime();
    rooms_.reset();
    rooms_ = ClientRooms::make(manager_, machine_.machine(), home_);
    rooms_->makeQueues();
    EXPECT_EQ(rooms_->settings.identitySnapshot().deviceId, "D3V1CE") << "before anything has changed";
    rooms_->registration.registerApplication("a1b2c3", "key", "broker-user", "broker-password");
    const auto snapshot = rooms_->settings.identitySnapshot();
    EXPECT_EQ(snapshot.deviceId, "D3V1CE");
    EXPECT_EQ(snapshot.launchTime, launchTime);
}

TEST_F(CrashReportsTest, SayOnAnotherThreadWhatTheLastChangeMadeOfTheIdentity) {
    machine_.clock->setDate(dateFromMillisecondsSince1970(1514800000000.0));
    struct Change {
        std::string what;
        std::function<void()> make;
        std::string wanted;
    };
    const std::vector<Change> kChanges = {
        {"nothing yet", [] {}, "(null) (null) (null) (null) 0"},
        {"the application is registered", [this] { registerApplication(); }, "a1b2c3 key 1.16.1 (null) 0"},
        {"a device id", [this] { rooms_->settings.setDeviceId("D3"); }, "a1b2c3 key 1.16.1 D3 0"},
        {"another one", [this] { rooms_->settings.setDeviceId("D4"); }, "a1b2c3 key 1.16.1 D4 0"},
        {"a launch", [this] { rooms_->settings.setLaunchStats(); }, "a1b2c3 key 1.16.1 D4 1514800000000"},
        {"another application",
         [this] { rooms_->registration.registerApplication("other", "k2", "user", "password"); },
         "other k2 1.16.1 D4 1514800000000"},
        {"reset, after which credentials stay", [this] { rooms_->coordinator.reset(); },
         "other k2 1.16.1 (null) 0"},
    };
    for (const auto& change : kChanges) {
        change.make();
        IdentitySnapshot seen;
        std::thread([&] { seen = rooms_->settings.identitySnapshot(); }).join();
        EXPECT_EQ(formatted("%@ %@ %@ %@ %d", seen.appId, seen.apiKey, seen.appVersion, seen.deviceId,
                            seen.launchTime),
                  change.wanted)
            << change.what;
    }
}

/// A queue whose operations run on one thread of its own, whatever the run loop does.
class ThreadQueueFactory final : public NSOperationQueueFactory {
public:
    std::shared_ptr<NSOperationQueue> makeOperationQueue(std::string name, int most) override {
        return std::make_shared<Queue>(std::move(name), most);
    }

private:
    class Queue final : public NSOperationQueue {
    public:
        Queue(std::string name, int most) : name_(std::move(name)), most_(most) {}
        Queue(const Queue&) = delete;
        Queue& operator=(const Queue&) = delete;
        ~Queue() override {
            for (auto& thread : threads_) {
                thread.join();
            }
        }
        const std::string& name() const override { return name_; }
        int maxConcurrentOperationCount() const override { return most_; }
        void addOperationWithBlock(std::function<void()> block) override {
            const std::lock_guard lock(mutex_);
            threads_.emplace_back(std::move(block));
        }

    private:
        std::string name_;
        int most_;
        std::mutex mutex_;
        std::vector<std::thread> threads_;
    };
};

/// The client on a loop that nobody drives: as in a host whose loop hangs in a callback for good.
class CrashOnABlockedLoopTest : public testing::Test {
protected:
    CrashOnABlockedLoopTest() {
        Machine ports = machine_.machine();
        ports.operationQueues = std::make_shared<ThreadQueueFactory>();
        manager_ = std::make_unique<PushClientManager>(std::move(ports), machine_.makeHome());
        manager_->setRegistrationHandler([this](bool, const auto&, const std::optional<NSError>& error) {
            failures_.push_back(error ? error->code : 0);
        });
    }

    void identify() {
        manager_->registerApplication("a1b2c3", "key", "broker-user", "broker-password");
        manager_->setDeviceId("D3V1CE");
    }

    FakeMachine machine_;
    std::vector<std::int64_t> failures_;
    std::unique_ptr<PushClientManager> manager_;
};

TEST_F(CrashOnABlockedLoopTest, ReportsFromSeveralThreadsAreWrittenAndSent) {
    identify();
    constexpr int kThreads = 4;
    std::vector<std::thread> crashing;
    for (int i = 0; i < kThreads; ++i) {
        crashing.emplace_back([this, i] {
            manager_->applicationCrashedWithUserInfo(Dictionary{{"thread", i}}, {.saveOnDisk = true});
        });
    }
    // Meanwhile the loop's own thread goes on changing what the others copy.
    for (int i = 0; i < 100; ++i) {
        manager_->setDeviceId("D" + std::to_string(i));
        manager_->setLaunchStats();
    }
    for (auto& thread : crashing) {
        thread.join();
    }
    manager_.reset();  // waits for the queue, and the loop has never run
    EXPECT_EQ(machine_.http->requestsTo("POST", "crashReports").size(), static_cast<std::size_t>(kThreads));
    EXPECT_EQ(machine_.files->files().size(), static_cast<std::size_t>(kThreads));
}

TEST_F(CrashOnABlockedLoopTest, ARefusalWaitsForTheLoop) {
    std::thread([this] { manager_->applicationCrashedWithUserInfo({}); }).join();
    EXPECT_THAT(failures_, IsEmpty());
    machine_.runUntilIdle();
    EXPECT_THAT(failures_, ElementsAre(-5009));
}

TEST_F(CrashOnABlockedLoopTest, ARefusalIsDroppedWithTheClient) {
    std::thread([this] { manager_->applicationCrashedWithUserInfo({}); }).join();
    manager_.reset();
    machine_.runUntilIdle();
    EXPECT_THAT(failures_, IsEmpty());
}

TEST_F(CrashReportsTest, RecordTheirOutcome) {
    identify();
    struct Row {
        std::function<void()> prepare;
        const char* told;
    };
    const Row table[] = {
        {[this] { machine_.http->answer("POST", "crashReports", 200, R"({"id":7})"); },
         "crash report kept as 7"},
        {[this] { machine_.http->answer("POST", "crashReports", 200, R"({"id":"c7"})"); },
         "crash report kept as c7"},
        {[this] { machine_.http->answer("POST", "crashReports", 200, R"({"id":{"phone":"0170 1234"}})"); },
         "crash report kept as (no id)"},
        {[this] { machine_.http->answer("POST", "crashReports", 200, "no object"); },
         "crash report kept as (no id)"},
        {[this] {
             machine_.http->fail("POST", "crashReports", NSURLErrorCode::TimedOut, "it took too long");
         },
         "crash report not kept: it took too long"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.told);
        row.prepare();
        crash();
        diagnostics_->clear();
        machine_.runUntilIdle();
        ASSERT_EQ(diagnostics_->records().size(), 1U);
        EXPECT_EQ(describeDiagnostic(firstOf(diagnostics_->records())), row.told);
    }
}

}  // namespace
}  // namespace xel
