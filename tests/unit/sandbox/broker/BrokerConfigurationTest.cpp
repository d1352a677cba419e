#include <string>

#include <gtest/gtest.h>

#include "sandbox/broker/BrokerConfiguration.h"
#include "sandbox/process/SandboxError.h"

namespace xel::sandbox::test {
namespace {

TEST(BrokerConfiguration, SavesEveryTenSecondsAndHoldsNoPartOfAnAnswerBack) {
    const std::string text = writeBrokerConfiguration({});
    for (const char* line : {"persistence true", "autosave_interval 9", "set_tcp_nodelay true"}) {
        EXPECT_NE(text.find("\n" + std::string(line) + "\n"), std::string::npos) << line;
    }
}

TEST(BrokerConfiguration, RefusesAValueThatWouldBeginALine) {
    BrokerConfiguration configuration;
    configuration.appId = "shop\nallow_anonymous true";
    EXPECT_THROW(writeBrokerConfiguration(configuration), SandboxError);
}

}  // namespace
}  // namespace xel::sandbox::test
