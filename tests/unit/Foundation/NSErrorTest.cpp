#include <gtest/gtest.h>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {
namespace {

TEST(NSError, ReadsItsTextsFromTheDetails) {
    NSError error{"Domain", -7, {}};
    error.userInfo.set(NSLocalizedDescriptionKey, "what");
    error.userInfo.set(NSLocalizedFailureReasonErrorKey, "why");
    error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, "what to do");
    EXPECT_EQ(error.localizedDescription(), "what");
    EXPECT_EQ(error.localizedFailureReason(), "why");
    EXPECT_EQ(error.localizedRecoverySuggestion(), "what to do");
    EXPECT_EQ(describeError(error), "Error Domain=Domain Code=-7 \"what\"");
}

TEST(NSError, DescribesItselfWithoutDetails) {
    const NSError error{"Domain", 404, {}};
    EXPECT_EQ(error.localizedDescription(), "Domain error 404");
    EXPECT_EQ(error.localizedFailureReason(), std::nullopt);
    EXPECT_EQ(error.localizedRecoverySuggestion(), std::nullopt);
}

TEST(NSError, ReadsATextOfAnotherKindAsMissing) {
    NSError error{"Domain", 1, {}};
    error.userInfo.set(NSLocalizedDescriptionKey, 5);
    error.userInfo.set(NSLocalizedFailureReasonErrorKey, Dictionary{});
    EXPECT_EQ(error.localizedDescription(), "Domain error 1");
    EXPECT_EQ(error.localizedFailureReason(), std::nullopt);
}

TEST(NSError, IsEqualByDomainCodeAndDetails) {
    EXPECT_EQ(makeError("D", 1, "text"), makeError("D", 1, "text"));
    EXPECT_FALSE(makeError("D", 1, "text") == makeError("D", 2, "text"));
    EXPECT_FALSE(makeError("D", 1, "text") == makeError("E", 1, "text"));
    EXPECT_FALSE(makeError("D", 1, "text") == makeError("D", 1, "other"));
}

}  // namespace
}  // namespace xel
