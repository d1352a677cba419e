#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Homes/StoredHome.h"
#include "XelPushClient/Linux/Push/UnifiedPushRegistration.h"
#include "tests/integration/desktop/support/ActivatableHost.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestDistributor.h"
#include "tests/unit/Linux/Push/WebPushSender.h"

namespace xel {
namespace {

namespace fs = std::filesystem;
using test::ActivatableHost;
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
        // Nobody listens where it looks for the service, which plays no part in this.
        host_ = std::make_unique<ActivatableHost>(
            *bus_, kHost, XELPUSH_EXAMPLES_PATH "/activatable_host",
            std::map<std::string, std::string>{{"XELPUSH_APP_ID", "shop"},
                                               {"XELPUSH_API_KEY", "key"},
                                               {"XELPUSH_BROKER_USER", "user"},
                                               {"XELPUSH_BROKER_PASSWORD", "password"},
                                               {"XELPUSH_LOCAL_REST_SSL_URL", "https://127.0.0.1:1"},
                                               {"XELPUSH_LOCAL_BROKER_SSL_PORT", "1"}});
        distributor_ =
            std::make_unique<TestDistributor>(bus_->address(), kDistributor, TestDistributor::Behaviour{});
#endif
    }

    /// What the host, which has ended, has kept.
    [[nodiscard]] std::optional<UnifiedPushRegistration> kept() const {
        HomeStoreOptions options;
        options.folder = host_->home() + "/.local/state/xelpush/activatable_host";
        const auto store = HomeStore::open(std::move(options));
        if (!store) {
            return std::nullopt;
        }
        return loadRegistration(*openStoredHome(store.value()).value().defaults);
    }
    [[nodiscard]] TestDistributor::Answer send(const UnifiedPushRegistration& registration,
                                               const std::string& content) const {
        return distributor_->message(kHost, registration.token,
                                     test::encryptedForWebPush(registration.keys.publicKey(),
                                                               registration.keys.authSecret(), content));
    }
    bool prints(const std::string& line) const {
        return eventually([&] { return host_->output().find(line) != std::string::npos; });
    }

    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<TestDistributor> distributor_;
    std::unique_ptr<ActivatableHost> host_;
};

TEST_F(ActivatedHostTest, IsStartedForAMessageAfterItWasKilled) {
    // A call of any kind starts it the first time; it registers, and is called with its endpoint.
    (void)distributor_->call(kHost, "Unregistered", {});
    const pid_t first = host_->pid();
    ASSERT_TRUE(eventually([&] { return distributor_->registrations().size() == 1; })) << host_->errors();
    const std::string token = distributor_->registrations()[0].token;
    host_->kill();
    // A killed program's lock goes with its last thread, after the program looks ended.
    std::optional<UnifiedPushRegistration> registration;
    ASSERT_TRUE(eventually([&] { return (registration = kept()).has_value(); }))
        << "it is kept before the distributor hears of it";
    EXPECT_EQ(registration->token, token);
    const auto permissions =
        fs::status(host_->home() + "/.local/state/xelpush/activatable_host/home.db").permissions();
    EXPECT_EQ(permissions & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_FALSE(ActivatableHost::isRunning(first));

    EXPECT_EQ(send(*registration, R"({"id": "m1"})").error, "");
    EXPECT_TRUE(prints(R"({"id":"m1"})")) << host_->errors();
    EXPECT_NE(host_->pid(), first);
    ASSERT_TRUE(eventually([&] { return distributor_->registrations().size() == 2; }));
    EXPECT_EQ(distributor_->registrations()[1].token, token) << "it is the same host";

    EXPECT_EQ(send(*registration, R"({"id": "m2"})").error, "");
    EXPECT_TRUE(prints(R"({"id":"m2"})"));
    EXPECT_EQ(host_->output(), "{\"id\":\"m1\"}\n{\"id\":\"m2\"}\n");
}

}  // namespace
}  // namespace xel
