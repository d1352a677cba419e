#ifdef XELPUSH_MINIMAL_HOST_PATH

#include <chrono>
#include <future>

#include <gmock/gmock.h>

#include "tests/integration/support/CommandSupport.h"

namespace xel::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class MinimalPlatformTest : public CommandAndServiceTest {
protected:
    [[nodiscard]] std::vector<std::string> environment() const {
        const auto& info = service_.info();
        return {"XELPUSH_APP_ID=" + info.appId,
                "XELPUSH_API_KEY=" + info.apiKey,
                "XELPUSH_BROKER_USER=" + info.brokerUser,
                "XELPUSH_BROKER_PASSWORD=" + info.brokerPassword,
                "XELPUSH_CA_FILE=" + info.caFile.string(),
                "XELPUSH_LOCAL_BROKER_PORT=" + std::to_string(info.mqttPort),
                "XELPUSH_LOCAL_REST_SSL_URL=" + info.restUrl};
    }
};

TEST_F(MinimalPlatformTest, BringsAMessageOverTheWholeRoad) {
    Command host(folder_, {"alice01", "news", "1"}, environment(), {}, XELPUSH_MINIMAL_HOST_PATH);
    auto ending = std::async(std::launch::async, [&] { return host.finish(); });
    // What is sent before the host has subscribed reaches nobody.
    while (ending.wait_for(100ms) != std::future_status::ready) {
        ASSERT_EQ(run(with({"send", "--public", "--channel", "news", "good morning"})).exitCode, 0);
    }
    const CommandOutcome outcome = ending.get();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "good morning\n");
    EXPECT_THAT(outcome.errors, HasSubstr("Connecting\nConnected\n"));
}

TEST_F(MinimalPlatformTest, RefusesWrongUsage) {
    const CommandOutcome outcome =
        Command(folder_, {"alice01"}, environment(), {}, XELPUSH_MINIMAL_HOST_PATH).finish();
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("USER CHANNEL COUNT"));
}

}  // namespace
}  // namespace xel::test

#endif
