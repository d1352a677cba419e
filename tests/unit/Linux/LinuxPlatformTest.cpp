#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

class LinuxPlatformTest : public testing::Test {
protected:
    LinuxPlatformTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "xelpush-platform-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        options_.runLoop = std::make_shared<AsioRunLoop>();
        options_.logSink = log_;
        options_.stateFolder = folder_ / "state";
        options_.documentsFolder = folder_ / "documents";
    }
    ~LinuxPlatformTest() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path folder_;
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    LinuxOptions options_;
};

TEST_F(LinuxPlatformTest, SetsEveryPort) {
    for (const Machine& machine : {makeLinuxMachine(options_), makeHeadlessMachine(options_)}) {
        EXPECT_EQ(machine.runLoop, options_.runLoop);
        EXPECT_EQ(machine.mainRunLoop, options_.runLoop) << "broadcasts need a loop that runs";
        EXPECT_NE(machine.clock, nullptr);
        EXPECT_EQ(machine.logSink, log_);
        EXPECT_NE(machine.operationQueues, nullptr);
        EXPECT_NE(machine.sessions, nullptr);
        EXPECT_NE(machine.http, nullptr);
        EXPECT_NE(machine.urlSession, nullptr);
        EXPECT_NE(machine.json, nullptr);
        EXPECT_NE(machine.files, nullptr);
        EXPECT_NE(machine.strings, nullptr);
        EXPECT_NE(machine.threads, nullptr);
        EXPECT_NE(machine.reachability, nullptr);
        EXPECT_NE(machine.notificationCenter, nullptr);
        EXPECT_NE(machine.locationSource, nullptr);
        EXPECT_NE(machine.device, nullptr);
        ASSERT_NE(machine.bundle, nullptr);
        EXPECT_EQ(machine.bundle->shortVersionString(), "1.0");
        EXPECT_EQ(machine.bundle->bundleVersion(), "1");
        EXPECT_EQ(linuxApplicationOf(machine).applicationState(), UIApplicationState::Active);
    }
}

TEST_F(LinuxPlatformTest, OfAHeadlessMachineAllowsNoNotification) {
    const Machine machine = makeHeadlessMachine(options_);
    const LinuxApplication& application = linuxApplicationOf(machine);
    EXPECT_EQ(application.allowedNotificationTypes(), 0U);
    EXPECT_EQ(application.pushTokenSource(), nullptr);
}

TEST_F(LinuxPlatformTest, TakesTheHostsContext) {
    boost::asio::io_context context;
    options_.runLoop = nullptr;
    options_.hostContext = &context;
    const Machine machine = makeLinuxMachine(options_);
    bool hasRun = false;
    machine.runLoop->post([&] { hasRun = true; });
    context.poll();
    EXPECT_TRUE(hasRun);
}

TEST_F(LinuxPlatformTest, LivesOnTheMainLoopUnlessToldOtherwise) {
    options_.runLoop = nullptr;
    const Machine machine = makeLinuxMachine(options_);
    EXPECT_EQ(machine.runLoop.get(), &NSRunLoop::mainRunLoop());
    EXPECT_EQ(&NSRunLoop::mainRunLoop(), sharedMainRunLoop().get());
}

TEST_F(LinuxPlatformTest, TakesEndpointsFromTheOptionsOrTheEnvironment) {
    TemporaryEnvironment environment;
    environment.set("XELPUSH_LOCAL_BROKER_PORT", "1234");
    EXPECT_EQ(makeLinuxMachine(options_).endpoints.kBrokerLocalPort, 1234);
    options_.endpoints = Endpoints();
    EXPECT_EQ(makeLinuxMachine(options_).endpoints.kBrokerLocalPort, 1880);

    options_.endpoints.reset();
    environment.set("XELPUSH_LOCAL_BROKER_PORT", "many");
    EXPECT_THROW(static_cast<void>(makeLinuxMachine(options_)), std::runtime_error);
}

TEST_F(LinuxPlatformTest, OpensAHomeThatRemembers) {
    const Machine machine = makeLinuxMachine(options_);
    {
        const auto home = openLinuxHome(options_, machine);
        ASSERT_TRUE(home.isOk()) << home.error().localizedDescription();
        EXPECT_EQ(home.value().documentsDirectory, options_.documentsFolder);
        EXPECT_TRUE(std::filesystem::is_directory(options_.documentsFolder));
        EXPECT_NE(home.value().notificationCenter, nullptr);
        EXPECT_NE(home.value().sessionMemory, nullptr);
        home.value().defaults->setObject("userId", "alice01");
        EXPECT_TRUE(home.value().defaults->synchronize());
    }
    const auto again = openLinuxHome(options_, machine);
    ASSERT_TRUE(again.isOk()) << again.error().localizedDescription();
    EXPECT_EQ(again.value().defaults->stringForKey("userId"), "alice01");
}

TEST_F(LinuxPlatformTest, OpensManyHomesInOneStore) {
    const Machine machine = makeLinuxMachine(options_);
    {
        const auto store = openLinuxHomeStore(options_, machine);
        ASSERT_TRUE(store.isOk()) << store.error().localizedDescription();
        const auto alice = openLinuxHome(options_, machine, store.value(), "alice");
        const auto hostile = openLinuxHome(options_, machine, store.value(), "../bob/\xC3\xA4");
        ASSERT_TRUE(alice.isOk());
        ASSERT_TRUE(hostile.isOk());
        EXPECT_EQ(alice.value().documentsDirectory, options_.documentsFolder + "/alice");
        EXPECT_EQ(hostile.value().documentsDirectory, options_.documentsFolder + "/%2E%2E%2Fbob%2F%C3%A4");
        EXPECT_TRUE(std::filesystem::is_directory(hostile.value().documentsDirectory));
        alice.value().defaults->setObject("userId", "alice01");
        EXPECT_TRUE(alice.value().defaults->synchronize());
        EXPECT_EQ(hostile.value().defaults->stringForKey("userId"), std::nullopt);

        EXPECT_FALSE(openLinuxHome(options_, machine, store.value(), "alice").isOk()) << "it is open";
        EXPECT_FALSE(openLinuxHome(options_, machine, store.value(), "").isOk());
        EXPECT_FALSE(openLinuxHome(options_, machine).isOk()) << "the store is open";
    }
    const auto store = openLinuxHomeStore(options_, machine);
    ASSERT_TRUE(store.isOk());
    const auto alice = openLinuxHome(options_, machine, store.value(), "alice");
    EXPECT_EQ(alice.value().defaults->stringForKey("userId"), "alice01");
}

TEST_F(LinuxPlatformTest, RefusesAHomeThatIsInUse) {
    const Machine machine = makeLinuxMachine(options_);
    const auto home = openLinuxHome(options_, machine);
    ASSERT_TRUE(home.isOk());
    const auto second = openLinuxHome(options_, machine);
    ASSERT_FALSE(second.isOk());
    EXPECT_EQ(second.error().domain, kStoreErrorDomain);
    EXPECT_EQ(second.error().code, static_cast<std::int64_t>(StoreErrorCode::InUse));
}

TEST_F(LinuxPlatformTest, RefusesAStateFolderInWhichOthersMayWrite) {
    const Machine machine = makeLinuxMachine(options_);
    std::filesystem::create_directory(options_.stateFolder);
    std::filesystem::permissions(options_.stateFolder, std::filesystem::perms(0777));
    const auto refused = openLinuxHome(options_, machine);
    ASSERT_FALSE(refused.isOk());
    EXPECT_EQ(refused.error().domain, kStoreErrorDomain);
    EXPECT_NE(refused.error().localizedDescription().find(options_.stateFolder), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_empty(options_.stateFolder));

    std::filesystem::permissions(options_.stateFolder, std::filesystem::perms(0775));
    EXPECT_TRUE(openLinuxHome(options_, machine).isOk());
    EXPECT_TRUE(log_->contains("the folder " + options_.stateFolder + " may be written to by its group"));
}

TEST_F(LinuxPlatformTest, TellsOfACacheFolderOfItsGroups) {
    options_.cacheFolder = folder_ / "cache";
    std::filesystem::create_directory(options_.cacheFolder);
    std::filesystem::permissions(options_.cacheFolder, std::filesystem::perms(0770));
    const Machine machine = makeLinuxMachine(options_);
    EXPECT_TRUE(log_->contains("the folder " + options_.cacheFolder + " may be written to by its group"));
}

TEST_F(LinuxPlatformTest, KeepsHomesOfDifferentNamesApart) {
    TemporaryEnvironment environment;
    environment.set("XDG_STATE_HOME", (folder_ / "xdg-state").string());
    environment.set("XDG_DATA_HOME", (folder_ / "xdg-data").string());
    options_.stateFolder.clear();
    options_.documentsFolder.clear();
    const Machine machine = makeLinuxMachine(options_);
    options_.name = "one";
    const auto one = openLinuxHome(options_, machine);
    options_.name = "two";
    const auto two = openLinuxHome(options_, machine);
    ASSERT_TRUE(one.isOk());
    ASSERT_TRUE(two.isOk());
    EXPECT_EQ(two.value().documentsDirectory, (folder_ / "xdg-data/xelpush/two").string());
    EXPECT_TRUE(std::filesystem::is_directory(folder_ / "xdg-state/xelpush/one"));
    one.value().defaults->setObject("key", 1);
    EXPECT_FALSE(two.value().defaults->objectForKey("key").has_value());
}

/// The code of the error with which a download from a port of this machine where nobody listens fails.
std::int64_t codeOfLocalDownload(const LinuxOptions& options) {
    const Machine machine = makeLinuxMachine(options);
    std::int64_t code = 0;
    machine.urlSession->downloadTaskWithURL("http://127.0.0.1:1/cat", [&](const Result<std::string>& file) {
        code = file ? 0 : file.error().code;
        machine.runLoop->stop();
    });
    machine.runLoop->run();
    return code;
}

TEST_F(LinuxPlatformTest, FetchesNoMediaFromThisMachineUnlessTheServiceIsHereOrTheHostAllowsIt) {
    constexpr auto kNotAllowed = static_cast<std::int64_t>(NSURLErrorCode::DataNotAllowed);
    constexpr auto kAskedInVain = static_cast<std::int64_t>(NSURLErrorCode::CannotConnectToHost);
    options_.cacheFolder = folder_ / "cache";
    options_.systemBus = "";
    options_.endpoints.emplace().kLoopBackSSLAddress = "https://192.0.2.1/api";
    EXPECT_EQ(codeOfLocalDownload(options_), kNotAllowed);
    options_.mediaFromAnyNetwork = true;
    EXPECT_EQ(codeOfLocalDownload(options_), kAskedInVain);
    options_.mediaFromAnyNetwork = false;
    options_.endpoints->kLoopBackSSLAddress = "https://127.0.0.1:8443/api";
    EXPECT_EQ(codeOfLocalDownload(options_), kAskedInVain);
}

class TokenSeeker : public UIApplicationDelegate {
public:
    void applicationDidFailToRegisterForRemoteNotificationsWithError(UIApplication& /*application*/,
                                                                     const NSError& error) override {
        errors.push_back(error.localizedDescription());
    }
    std::vector<std::string> errors;
};

TEST_F(LinuxPlatformTest, HasNoPushTokenForAHostThatTheBusDoesNotKnow) {
    TemporaryEnvironment environment;
    environment.set("XELPUSH_BUS_NAME", std::nullopt);
    options_.systemBus = "";  // and so no line about it
    for (const std::string name : {"", "Shop", "org.example.7th"}) {
        log_->clear();
        options_.busName = name;
        const Machine machine = makeLinuxMachine(options_);
        const auto seeker = std::make_shared<TokenSeeker>();
        machine.application->registerForRemoteNotifications(seeker);
        machine.application->registerForRemoteNotifications(seeker);
        machine.runLoop->post([&] { machine.runLoop->stop(); });
        EXPECT_TRUE(seeker->errors.empty()) << "never from inside";
        machine.runLoop->run();
        ASSERT_EQ(seeker->errors.size(), 2U) << name;
        EXPECT_NE(seeker->errors[0].find("name"), std::string::npos) << seeker->errors[0];
        EXPECT_NE(seeker->errors[0].find(name), std::string::npos) << seeker->errors[0];
        EXPECT_EQ(log_->lines().size(), name.empty() ? 0U : 1U) << "a wrong name is said once";
    }
}

}  // namespace
}  // namespace xel
