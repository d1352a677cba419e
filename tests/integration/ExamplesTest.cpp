#ifdef XELPUSH_EXAMPLES_PATH

#include <map>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/integration/desktop/support/MockNotificationServer.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestProgram.h"
#include "tests/integration/support/CommandSupport.h"

namespace xel::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// The samples as programs, against a service.
class ExamplesTest : public CommandAndServiceTest {
protected:
    [[nodiscard]] std::unique_ptr<TestProgram> start(const std::string& command, const std::string& log,
                                                     const std::string& sessionBus = {}) {
        const auto& info = service_.info();
        const std::string home = folder_.path().string();
        return std::make_unique<TestProgram>(
            std::vector<std::string>{"/bin/sh", "-c",
                                     "exec " + std::string(XELPUSH_EXAMPLES_PATH) + '/' + command},
            folder_.path() / log,
            std::map<std::string, std::string>{
                {"HOME", home},
                {"XDG_STATE_HOME", home + "/state"},
                {"XDG_DATA_HOME", home + "/data"},
                {"XDG_CACHE_HOME", home + "/cache"},
                {"XDG_CONFIG_HOME", home + "/config"},
                {"DBUS_SESSION_BUS_ADDRESS", sessionBus},
                {"XELPUSH_APP_ID", info.appId},
                {"XELPUSH_API_KEY", info.apiKey},
                {"XELPUSH_BROKER_USER", info.brokerUser},
                {"XELPUSH_BROKER_PASSWORD", info.brokerPassword},
                {"XELPUSH_CA_FILE", info.caFile.string()},
                {"XELPUSH_LOCAL_BROKER_PORT", std::to_string(info.mqttPort)},
                {"XELPUSH_LOCAL_BROKER_SSL_PORT", std::to_string(info.mqttTlsPort)},
                {"XELPUSH_LOCAL_REST_SSL_URL", info.restUrl}});
    }

    /// Lines containing the text.
    static std::size_t countOf(const std::string& text, const std::string& output) {
        std::size_t count = 0;
        for (auto at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) {
            ++count;
        }
        return count;
    }

    /// Repeats it until the condition holds: what is sent before a host has subscribed reaches nobody.
    bool sendUntil(const std::vector<std::string>& arguments, const std::function<bool()>& condition) {
        return eventually([&] { return run(with(arguments)).exitCode == 0 && condition(); });
    }
};

/// What a person types.
class Typing {
public:
    explicit Typing(std::filesystem::path path) : path_(std::move(path)) {
        EXPECT_EQ(::mkfifo(path_.c_str(), 0600), 0);
        // Open for both, or opening would wait for the reader.
        descriptor_ = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
    }
    Typing(const Typing&) = delete;
    Typing& operator=(const Typing&) = delete;
    ~Typing() { ::close(descriptor_); }

    void line(const std::string& text) {
        const std::string octets = text + '\n';
        EXPECT_EQ(::write(descriptor_, octets.data(), octets.size()), static_cast<ssize_t>(octets.size()));
    }

private:
    std::filesystem::path path_;
    int descriptor_ = -1;
};

TEST_F(ExamplesTest, TwoPeopleChat) {
    Typing alice(folder_.path() / "alice");
    Typing robert(folder_.path() / "robert");
    const auto first = start("chat alice01 lobby <" + (folder_.path() / "alice").string(), "alice.log");
    const auto second = start("chat robert01 lobby <" + (folder_.path() / "robert").string(), "robert.log");
    ASSERT_TRUE(eventually([&] {
        alice.line("good morning");
        return second->output().find("alice01: good morning\n") != std::string::npos;
    })) << first->output()
        << second->output();
    robert.line("good \x1b[31mevening");
    ASSERT_TRUE(eventually([&] {
        return first->output().find("robert01: good \\x1b[31mevening\n") != std::string::npos;
    })) << first->output();
    EXPECT_THAT(first->output(), Not(HasSubstr("alice01: "))) << "nobody reads what he typed himself";
    first->stop();
    EXPECT_THAT(first->output(), HasSubstr("[Disconnected]"));
}

TEST_F(ExamplesTest, AGatewaySpeaksForManyDevicesInOneProcess) {
    constexpr std::size_t kDevices = 20;
    const auto gateway = start("gateway alarm " + std::to_string(kDevices) + " 500", "gateway.log");
    ASSERT_TRUE(eventually([&] { return countOf("[Connected]", gateway->output()) == kDevices; }))
        << gateway->output();
    ASSERT_TRUE(eventually([&] { return countOf("20 of 20 connected\n", gateway->output()) == 1; }))
        << gateway->output();
    ASSERT_TRUE(sendUntil({"send", "--public", "--channel", "alarm", "fire"}, [&] {
        return countOf("device000 fire", gateway->output()) > 0 &&
               countOf("device019 fire", gateway->output()) > 0;
    })) << gateway->output();
    ASSERT_EQ(run(with({"send", "--user", "device007", "--channel", "alarm", "yours"})).exitCode, 0);
    ASSERT_TRUE(eventually([&] { return countOf("device007 yours", gateway->output()) == 1; }));
    EXPECT_EQ(countOf(" yours", gateway->output()), 1U);
}

TEST_F(ExamplesTest, AKioskShowsButtonsAndTellsWhichWasPressed) {
    if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const PrivateBus bus;
    MockNotificationServer server(bus.address(), {});
    const auto kiosk = start("kiosk lobby01 lunch", "kiosk.log", bus.address());
    ASSERT_TRUE(sendUntil({"send", "--public", "--channel", "lunch", "Lunch?", "--notification",
                           R"({"title":"Lunch?","mutableContent":1,"category":"lunch",)"
                           R"("actions":[{"title":"Yes","id":"yes"},{"title":"No","id":"no"}]})"},
                          [&] { return !server.notifies().empty(); }))
        << kiosk->output();
    server.invoke(1, "1");
    ASSERT_TRUE(eventually([&] { return kiosk->output().find("pressed: no\n") != std::string::npos; }))
        << kiosk->output();
}

TEST_F(ExamplesTest, RefuseWrongUsageAndSayWhatIsMissing) {
    for (const std::string program : {"chat", "kiosk", "gateway"}) {
        const auto wrong = start(program, program + ".log");
        ASSERT_TRUE(eventually([&] { return !wrong->isRunning(); }));
        EXPECT_THAT(wrong->output(), HasSubstr("usage: "));
    }
    for (const std::string words :
         {"alarm 0", "alarm 10001", "alarm 20x", "alarm 20 fast", "alarm 20 5 more"}) {
        const auto wrong = start("gateway " + words, "gateway.log");
        ASSERT_TRUE(eventually([&] { return !wrong->isRunning(); }));
        EXPECT_THAT(wrong->output(), HasSubstr("usage: ")) << words;
    }
    const auto invalid = start("chat a lobby", "invalid.log");
    ASSERT_TRUE(eventually([&] { return !invalid->isRunning(); }));
    EXPECT_THAT(invalid->output(), HasSubstr("User")) << invalid->output();
}

}  // namespace
}  // namespace xel::test

#endif
