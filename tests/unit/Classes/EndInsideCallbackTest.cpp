#include <algorithm>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/DelegateOperations.h"
#include "tests/unit/Classes/Support/EndingHost.h"

namespace xel {
namespace {

using testing::IsEmpty;
using testing::IsSupersetOf;

/// The first word of what was heard, behind its kind: "delegate: RegisterUser 1" is of the kind "delegate:
/// RegisterUser".
std::set<std::string> kindsOf(const std::vector<std::string>& heard) {
    std::set<std::string> kinds;
    for (const auto& line : heard) {
        kinds.insert(line.substr(0, line.find(' ', line.find(": ") + 2)));
    }
    return kinds;
}

class EndInsideCallbackTest : public testing::TestWithParam<Ending> {};

// Sees to it that the test below leaves no callback out.
TEST_P(EndInsideCallbackTest, MeetsEveryWayOfReporting) {
    EndingHost host(GetParam(), std::nullopt);
    host.live();
    EXPECT_FALSE(host.hasEnded());
    const auto kinds = kindsOf(host.heard());
    EXPECT_THAT(
        kinds,
        IsSupersetOf({"delegate: ConnectionState", "delegate: Reachability", "delegate: RegisterUser",
                      "delegate: FailRegisterUser", "delegate: SentVerificationCode",
                      "delegate: FailSentVerificationCode", "delegate: VerifyUserCode",
                      "delegate: FailInVerifyUserCode", "delegate: Message", "delegate: UILocalNotification",
                      "delegate: Delivery", "delegate: Event", "delegate: Subscribed",
                      "delegate: Unsubscribed", "delegate: FailInSubscribe", "delegate: FailInUnsubscribe",
                      "delegate: FailInPublish", "delegate: NotificationResponse"}));
    EXPECT_EQ(std::count_if(kinds.begin(), kinds.end(),
                            [](const auto& kind) { return kind.starts_with("delegate"); }),
              static_cast<std::ptrdiff_t>(DelegateOperation::Count));
    EXPECT_THAT(kinds,
                IsSupersetOf({"block: message", "block: UILocal", "block: registration", "block: state",
                              "block: reachability", "block: verification", "block: verifyUserCode"}));
    EXPECT_EQ(std::count_if(kinds.begin(), kinds.end(),
                            [](const auto& kind) { return kind.starts_with("notification"); }),
              15);
    EXPECT_THAT(kinds,
                IsSupersetOf({"answer: tag", "answer: connected", "answer: fetch", "answer: media",
                              "answer: attachment", "answer: location", "answer: no", "answer: removed"}));
}

TEST_P(EndInsideCallbackTest, ReportsNothingMoreWhereverTheClientIsDestroyed) {
    EndingHost whole(GetParam(), std::nullopt);
    whole.live();
    ASSERT_GT(whole.heard().size(), 100U);
    for (std::size_t fatal = 0; fatal < whole.heard().size(); ++fatal) {
        SCOPED_TRACE("destroyed inside call " + std::to_string(fatal) + ", " + whole.heard()[fatal]);
        EndingHost host(GetParam(), fatal);
        host.live();
        ASSERT_TRUE(host.hasEnded());
        ASSERT_EQ(host.heard().at(fatal), whole.heard()[fatal]);
        EXPECT_THAT(host.reportedAfterEnd(), IsEmpty());
    }
}

INSTANTIATE_TEST_SUITE_P(All, EndInsideCallbackTest,
                         testing::Values(Ending::Manager, Ending::ManagerAndMachine,
                                         Ending::ManagerOfApartLoops),
                         [](const auto& ending) {
                             switch (ending.param) {
                                 case Ending::Manager: return "Manager";
                                 case Ending::ManagerAndMachine: return "ManagerAndMachine";
                                 case Ending::ManagerOfApartLoops: return "ManagerOfApartLoops";
                             }
                             return "";
                         });

}  // namespace
}  // namespace xel
