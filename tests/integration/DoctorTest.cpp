// `xelpush doctor` on a healthy setup and on broken ones.

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "XelPushClient/Linux/Homes/StoredHome.h"
#include "sandbox/process/Ports.h"
#include "tests/integration/support/CommandSupport.h"

namespace xel::test {
namespace {

namespace fs = std::filesystem;

using sandbox::Json;
using testing::HasSubstr;

class DoctorTest : public CommandAndServiceTest {
protected:
    // Runs the doctor; keeps what it says of each check.
    int examine(const std::vector<std::string>& environment = {}, std::vector<std::string> more = {}) {
        std::vector<std::string> arguments{"doctor", "--json", "--state-folder", store_.string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const CommandOutcome outcome = run(with(arguments), environment);
        findings_.clear();
        order_.clear();
        std::istringstream lines(outcome.output);
        for (std::string line; std::getline(lines, line);) {
            const Json finding = Json::parse(line, nullptr, false);
            order_.push_back(finding.value("check", ""));
            findings_[order_.back()] = finding;
        }
        errors_ = outcome.errors;
        return outcome.exitCode;
    }
    std::string member(const std::string& check, const char* key, const char* otherwise) const {
        const auto finding = findings_.find(check);
        return finding == findings_.end() ? otherwise : finding->second.value(key, otherwise);
    }
    std::string state(const std::string& check) const { return member(check, "state", "missing"); }
    std::string advice(const std::string& check) const { return member(check, "advice", ""); }
    std::string text(const std::string& check) const { return member(check, "text", ""); }

    Result<std::shared_ptr<HomeStore>> openStore() {
        HomeStoreOptions options;
        options.folder = store_.string();
        return HomeStore::open(std::move(options));
    }
    void makeStore() { ASSERT_TRUE(openStore().isOk()); }
    // A store whose client keeps these channels of alice01's.
    void keepChannels(const std::vector<std::string>& names) {
        auto store = openStore();
        ASSERT_TRUE(store.isOk());
        const auto defaults = openStoredHome(std::move(store).value()).value().defaults;
        Dictionary channels;
        for (const std::string& name : names) {
            channels.set("app/" + service_.info().appId + "/user/" + name, 1);
        }
        defaults->setObject("userChannels", channels);
        ASSERT_TRUE(defaults->synchronize());
    }
    std::uint16_t closedPort() { return sandbox::claimPort("127.0.0.1", 0, "a test"); }

    fs::path store_ = folder_.path() / "state";
    std::map<std::string, Json> findings_;
    std::vector<std::string> order_;
    std::string errors_;
};

TEST_F(DoctorTest, FindsEverythingInOrder) {
    makeStore();
    EXPECT_EQ(examine(), 0) << errors_;
    EXPECT_EQ(order_, (std::vector<std::string>{"name look-up", "TCP", "TLS", "CONNACK", "SUBSCRIBE", "REST",
                                                "clock", "state folder", "store"}));
    for (const auto& [check, finding] : findings_) {
        EXPECT_EQ(state(check), "ok") << finding.dump();
        EXPECT_FALSE(finding.contains("advice")) << check;
    }
    EXPECT_THAT(text("TLS"), testing::ContainsRegex("expires in [0-9]+ days"));
    EXPECT_EQ(examine({}, {"--plain"}), 0) << errors_;
    EXPECT_EQ(state("TLS"), "missing");
    EXPECT_EQ(state("CONNACK"), "ok");
}

TEST_F(DoctorTest, LeavesNoFolderBehind) {
    EXPECT_EQ(examine(), 0) << errors_;
    EXPECT_FALSE(fs::exists(store_));
    EXPECT_EQ(state("store"), "skipped");
}

TEST_F(DoctorTest, DoesNotDisturbAClientOfTheSameUser) {
    Command alice(folder_, with({"listen", "--user", "alice01", "--channel", "news", "--count", "1",
                                 "--timeout", "60s"}));
    ASSERT_TRUE(alice.readUntil("subscribed"));
    EXPECT_EQ(examine({}, {"--user", "alice01"}), 0) << errors_;
    EXPECT_EQ(run(with({"send", "--public", "--channel", "news", "hello"})).exitCode, 0);
    const CommandOutcome outcome = alice.finish();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, testing::Not(HasSubstr("Error")));
}

TEST_F(DoctorTest, NamesAHostThatNobodyKnows) {
    EXPECT_EQ(examine({"XELPUSH_LOCAL_BROKER_ADDRESS=no-such-host.invalid"}), 5);
    EXPECT_EQ(state("name look-up"), "failed");
    EXPECT_THAT(text("name look-up"), HasSubstr("no-such-host.invalid"));
    for (const char* check : {"TCP", "TLS", "CONNACK", "SUBSCRIBE"}) {
        EXPECT_EQ(state(check), "skipped") << check;
    }
    EXPECT_EQ(state("REST"), "ok");
}

TEST_F(DoctorTest, NamesAPortThatNobodyListensOn) {
    const std::string port = std::to_string(closedPort());
    EXPECT_EQ(examine({"XELPUSH_LOCAL_BROKER_SSL_PORT=" + port}), 5);
    EXPECT_EQ(state("name look-up"), "ok");
    EXPECT_EQ(state("TCP"), "failed");
    EXPECT_THAT(text("TCP"), HasSubstr(port));
    EXPECT_THAT(advice("TCP"), HasSubstr("xelpush sandbox"));
    EXPECT_EQ(state("CONNACK"), "skipped");
}

TEST_F(DoctorTest, NamesAPortThatSpeaksNoTLS) {
    EXPECT_EQ(examine({"XELPUSH_LOCAL_BROKER_SSL_PORT=" + std::to_string(service_.info().mqttPort)}), 5);
    EXPECT_EQ(state("TCP"), "ok");
    EXPECT_EQ(state("TLS"), "failed");
}

TEST_F(DoctorTest, NamesAPortThatIsNoBrokers) {
    EXPECT_EQ(examine({"XELPUSH_LOCAL_BROKER_SSL_PORT=" + std::to_string(service_.info().restPort)}), 5);
    EXPECT_EQ(state("TLS"), "ok");
    EXPECT_EQ(state("CONNACK"), "failed");
}

TEST_F(DoctorTest, NamesACertificateThatIsNotTrusted) {
    EXPECT_EQ(examine({"XELPUSH_CA_FILE=/etc/ssl/certs/ca-certificates.crt"}), 5);
    EXPECT_EQ(state("TLS"), "failed");
    EXPECT_THAT(advice("TLS"), HasSubstr("/etc/ssl/certs/ca-certificates.crt"));
    EXPECT_EQ(state("REST"), "failed");
    EXPECT_THAT(advice("REST"), HasSubstr("/etc/ssl/certs/ca-certificates.crt"));
    EXPECT_EQ(state("clock"), "skipped");
}

TEST_F(DoctorTest, NamesARefusedPassword) {
    const fs::path secret = folder_.path() / "secret";
    std::ofstream(secret) << "not-the-password\n";
    EXPECT_EQ(examine({}, {"--broker-password-file", secret.string()}), 4);
    EXPECT_EQ(state("TLS"), "ok");
    EXPECT_EQ(state("CONNACK"), "failed");
    EXPECT_THAT(advice("CONNACK"), HasSubstr("XELPUSH_BROKER_PASSWORD"));
    EXPECT_EQ(text("CONNACK").find("not-the-password"), std::string::npos);
}

TEST_F(DoctorTest, NamesTheChannelThatTheBrokerEndsTheConnectionOn) {
    keepChannels({"public/news", "alice01/orders", "public/a\x01z", "public/sport", "public/weather"});
    for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--plain"}}) {
        std::vector<std::string> arguments{"--user", "alice01"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        EXPECT_EQ(examine({}, arguments), 1) << errors_;
        EXPECT_EQ(state("CONNACK"), "ok");
        EXPECT_EQ(state("SUBSCRIBE"), "failed");
        EXPECT_THAT(text("SUBSCRIBE"), HasSubstr("user/public/a\\u0001z\""));
        EXPECT_THAT(text("SUBSCRIBE"), testing::Not(HasSubstr("news")));
        EXPECT_THAT(advice("SUBSCRIBE"), HasSubstr("channels --remove"));
        EXPECT_EQ(state("REST"), "ok");
    }
}

TEST_F(DoctorTest, NamesAChannelThatTheBrokerDoesNotGrant) {
    keepChannels({"public/news", "bob02/orders"});
    EXPECT_EQ(examine({}, {"--user", "alice01"}), 1) << errors_;
    EXPECT_EQ(state("SUBSCRIBE"), "failed");
    EXPECT_THAT(text("SUBSCRIBE"), HasSubstr("bob02/orders"));
    keepChannels({"public/news", "alice01/orders"});
    EXPECT_EQ(examine({}, {"--user", "alice01"}), 0) << errors_;
    EXPECT_THAT(text("SUBSCRIBE"), HasSubstr("3 granted"));
}

TEST_F(DoctorTest, NamesARefusedToken) {
    EXPECT_EQ(examine({"XELPUSH_API_KEY=not-the-key"}), 4);
    EXPECT_EQ(state("CONNACK"), "ok");
    EXPECT_EQ(state("REST"), "failed");
    EXPECT_THAT(advice("REST"), HasSubstr("XELPUSH_API_KEY"));
    EXPECT_EQ((text("REST") + errors_).find("not-the-key"), std::string::npos);
}

TEST_F(DoctorTest, NamesABackendThatIsNotThere) {
    EXPECT_EQ(
        examine({"XELPUSH_LOCAL_REST_SSL_URL=https://localhost:" + std::to_string(closedPort()) + "/api"}),
        5);
    EXPECT_EQ(state("CONNACK"), "ok");
    EXPECT_EQ(state("REST"), "failed");
}

TEST_F(DoctorTest, NamesAStoreThatAnotherProcessUses) {
    const auto store = openStore();
    ASSERT_TRUE(store.isOk());
    EXPECT_EQ(examine(), 1);
    EXPECT_EQ(state("store"), "failed");
    EXPECT_THAT(text("store"), HasSubstr("pid " + std::to_string(::getpid())));
    EXPECT_THAT(advice("store"), HasSubstr("--state-folder"));
}

TEST_F(DoctorTest, NamesAFolderThatOthersMayEnter) {
    makeStore();
    fs::permissions(store_, fs::perms::group_read | fs::perms::group_exec, fs::perm_options::add);
    EXPECT_EQ(examine(), 1);
    EXPECT_EQ(state("state folder"), "failed");
    EXPECT_THAT(text("state folder"), HasSubstr("0750"));
    EXPECT_THAT(advice("state folder"), HasSubstr("chmod"));
}

TEST_F(DoctorTest, NamesADamagedStoreAndLeavesIt) {
    makeStore();
    const std::string damage(8192, 'x');
    fs::remove(store_ / "home.db-wal");  // or the store would be read from it
    std::ofstream(store_ / "home.db", std::ios::trunc) << damage;
    EXPECT_EQ(examine(), 1);
    EXPECT_EQ(state("store"), "failed");
    EXPECT_EQ(contentOf(store_ / "home.db"), damage);
}

TEST_F(DoctorTest, LeavesTheLogOfAnEmptiedStore) {
    makeStore();
    fs::resize_file(store_ / "home.db", 0);
    std::ofstream(store_ / "home.db-wal") << "what is left";
    EXPECT_EQ(examine(), 1);
    EXPECT_EQ(state("store"), "failed");
    EXPECT_EQ(contentOf(store_ / "home.db-wal"), "what is left");
}

}  // namespace
}  // namespace xel::test
