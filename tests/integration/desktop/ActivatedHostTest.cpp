#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/SqliteStore.h"
#include "XelPushClient/Linux/SqliteUserDefaults.h"
#include "XelPushClient/Linux/UnifiedPushRegistration.h"
#include "tests/contract/FileContents.h"
#include "tests/contract/TemporaryFolder.h"
#include "tests/integration/desktop/PrivateBus.h"
#include "tests/integration/desktop/TestDistributor.h"
#include "tests/unit/Linux/WebPushSender.h"

namespace xel {
namespace {

namespace fs = std::filesystem;
using test::eventually;
using test::PrivateBus;
using test::TestDistributor;

constexpr const char* kHost = "org.example.ActivatableHost";
constexpr const char* kDistributor = "org.unifiedpush.Distributor.test";

/// The host of the examples, as a program of its own that the bus may start.
class ActivatedHostTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
#ifndef XELPUSH_EXAMPLES_PATH
        GTEST_SKIP() << "the examples were not built (XELPUSH_BUILD_EXAMPLES)";
#else
        bus_ = std::make_unique<PrivateBus>();
        writeScript(XELPUSH_EXAMPLES_PATH "/activatable_host");
        bus_->stop();
        bus_->addService(kHost, "/bin/sh " + script());
        bus_->start();
        distributor_ =
            std::make_unique<TestDistributor>(bus_->address(), kDistributor, TestDistributor::Behaviour{});
#endif
    }
    void TearDown() override {
        kill();
    }

    [[nodiscard]] std::string script() const {
        return folder_.path() + "/host.sh";
    }
    [[nodiscard]] std::string in(const std::string& name) const {
        return folder_.path() + "/" + name;
    }

    /// It notes its process id, and what it prints goes into a file.
    void writeScript(const std::string& program) const {
        std::ofstream text(script());
        text << "export HOME=" << in("home") << "\n"
             << "unset XDG_STATE_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_CONFIG_HOME UNIFIEDPUSH_DISTRIBUTOR\n"
             << "export DBUS_SESSION_BUS_ADDRESS=" << bus_->address() << "\n"
             << "export XELPUSH_BUS_NAME=" << kHost << "\n"
             << "export XELPUSH_APP_ID=shop XELPUSH_API_KEY=key XELPUSH_BROKER_USER=user "
                "XELPUSH_BROKER_PASSWORD=password\n"
             // Nobody listens there: the service plays no part in this.
             << "export XELPUSH_LOCAL_REST_SSL_URL=https://127.0.0.1:1 XELPUSH_LOCAL_BROKER_SSL_PORT=1\n"
             << "echo $$ > " << in("pid") << "\n"
             << "exec " << program << " >> " << in("output") << " 2>> " << in("errors") << "\n";
    }

    [[nodiscard]] static std::string contents(const std::string& path) {
        return contract::contentsOf(path).value_or("");
    }
    [[nodiscard]] pid_t pid() const {
        pid_t number = 0;
        std::ifstream(in("pid")) >> number;
        return number;
    }
    /// A process that others started, and that ends in a zombie of theirs, if in any.
    [[nodiscard]] static bool isRunning(pid_t process) {
        const std::string state = contents("/proc/" + std::to_string(process) + "/stat");
        return !state.empty() && state.find(") Z ") == std::string::npos;
    }
    void kill() const {
        if (const pid_t process = pid(); process > 0 && isRunning(process)) {
            ::kill(process, SIGKILL);
            EXPECT_TRUE(eventually([&] { return !isRunning(process); }));
        }
    }
    /// What the host, which has ended, has kept.
    [[nodiscard]] std::optional<UnifiedPushRegistration> kept() const {
        SqliteStoreOptions options;
        options.folder = in("home") + "/.local/state/xelpush/activatable_host";
        const auto store = SqliteStore::open(std::move(options));
        if (!store) {
            return std::nullopt;
        }
        const auto defaults = SqliteUserDefaults::load(store.value());
        return defaults ? loadRegistration(*defaults.value()) : std::nullopt;
    }
    [[nodiscard]] TestDistributor::Answer send(const UnifiedPushRegistration& registration,
                                               const std::string& content) const {
        return distributor_->message(kHost, registration.token,
                                     test::encryptedForWebPush(registration.keys.publicKey(),
                                                               registration.keys.authSecret(), content));
    }
    bool prints(const std::string& line) const {
        return eventually([&] { return contents(in("output")).find(line) != std::string::npos; });
    }

    contract::TemporaryFolder folder_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<TestDistributor> distributor_;
};

TEST_F(ActivatedHostTest, IsStartedForAMessageAfterItWasKilled) {
    // A call of any kind starts it the first time; it registers, and is called with its endpoint.
    (void)distributor_->call(kHost, "Unregistered", {});
    const pid_t first = pid();
    ASSERT_TRUE(eventually([&] { return distributor_->registrations().size() == 1; }))
        << contents(in("errors"));
    const std::string token = distributor_->registrations()[0].token;
    kill();
    // A killed program's lock goes with its last thread, after the program looks ended.
    std::optional<UnifiedPushRegistration> registration;
    ASSERT_TRUE(eventually([&] { return (registration = kept()).has_value(); }))
        << "it is kept before the distributor hears of it";
    EXPECT_EQ(registration->token, token);
    const auto permissions =
        fs::status(in("home") + "/.local/state/xelpush/activatable_host/home.db").permissions();
    EXPECT_EQ(permissions & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_FALSE(isRunning(first));

    EXPECT_EQ(send(*registration, R"({"id": "m1"})").error, "");
    EXPECT_TRUE(prints(R"({"id":"m1"})")) << contents(in("errors"));
    EXPECT_NE(pid(), first);
    ASSERT_TRUE(eventually([&] { return distributor_->registrations().size() == 2; }));
    EXPECT_EQ(distributor_->registrations()[1].token, token) << "it is the same host";

    EXPECT_EQ(send(*registration, R"({"id": "m2"})").error, "");
    EXPECT_TRUE(prints(R"({"id":"m2"})"));
    EXPECT_EQ(contents(in("output")), "{\"id\":\"m1\"}\n{\"id\":\"m2\"}\n");
}

}  // namespace
}  // namespace xel
