#include <gtest/gtest.h>

#include "tools/doctor/RestProbe.h"

namespace xel::tools {
namespace {

constexpr std::time_t kTold = 784111777;
constexpr const char* kDate = "Sun, 06 Nov 1994 08:49:37 GMT";

TEST(RestProbe, ComparesTheClockWithTheDateOfTheAnswer) {
    struct Case {
        std::time_t now;
        FindingState state;
        const char* text;
    };
    for (const Case& each :
         {Case{kTold, FindingState::Ok, "as the backend's"},
          Case{kTold + 30, FindingState::Ok, "30 s ahead of the backend's"},
          Case{kTold - 30, FindingState::Ok, "30 s behind the backend's"},
          Case{kTold + 31, FindingState::Failed, "this machine's clock is 31 s ahead of the backend's"},
          Case{kTold - 3600, FindingState::Failed, "this machine's clock is 3600 s behind the backend's"}}) {
        const Finding finding =
            judgeClock({.status = 404, .headers = {{"date", kDate}}, .body = {}}, each.now);
        EXPECT_EQ(finding.state, each.state) << each.now;
        EXPECT_EQ(finding.text, each.text);
        EXPECT_EQ(finding.advice.empty(), each.state == FindingState::Ok);
    }
}

TEST(RestProbe, SkipsTheClockWithoutADate) {
    EXPECT_EQ(judgeClock({.status = 404, .headers = {}, .body = {}}, kTold).state, FindingState::Skipped);
    EXPECT_EQ(judgeClock({.status = 404, .headers = {{"Date", "soon"}}, .body = {}}, kTold).state,
              FindingState::Skipped);
}

TEST(RestProbe, JudgesTheTokenByTheStatus) {
    struct Case {
        int status;
        FindingState state;
        ExitCode code;
    };
    for (const Case& each :
         {Case{200, FindingState::Ok, ExitCode::Success}, Case{404, FindingState::Ok, ExitCode::Success},
          Case{401, FindingState::Failed, ExitCode::CredentialsRefused},
          Case{403, FindingState::Failed, ExitCode::CredentialsRefused},
          Case{302, FindingState::Failed, ExitCode::Failure},
          Case{500, FindingState::Failed, ExitCode::Failure}}) {
        const Finding finding = judgeToken({.status = each.status, .headers = {}, .body = {}});
        EXPECT_EQ(finding.state, each.state) << each.status;
        EXPECT_EQ(finding.code, each.code) << each.status;
    }
}

}  // namespace
}  // namespace xel::tools
