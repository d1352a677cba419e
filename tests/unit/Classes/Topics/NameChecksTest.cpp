#include <gtest/gtest.h>

#include "XelPushClient/Classes/Topics/NameChecks.h"

namespace xel {
namespace {

/// What is said against a name; empty when nothing is.
std::string said(const Result<void>& check) {
    return check ? "" : check.error().domain + ": " + check.error().localizedDescription();
}

struct NameCase {
    std::optional<std::string> name;
    std::string refusal;
};

TEST(NameChecksTest, SayWhatIsWrongWithAUserId) {
    const std::string rule = "3 to 32 characters, no white space, none of #, +, /, * and \\";
    const NameCase cases[] = {
        {"bob", ""},
        {"alice@example.org", ""},
        {"what?", ""},
        {std::nullopt, "InvalidParameter: User id is missing"},
        {"ab", "InvalidParameter: User id 'ab' is not valid: " + rule},
        {"al ice", "InvalidParameter: User id 'al ice' is not valid: " + rule},
        {"al\x07ice",
         "InvalidParameter: User id 'al<U+0007>ice' is not valid: it holds the control character U+0007"},
    };
    for (const auto& [name, refusal] : cases) {
        EXPECT_EQ(said(checkUserId(name)), refusal) << name.value_or("none");
    }
}

TEST(NameChecksTest, SayWhatIsWrongWithAChannel) {
    const NameCase cases[] = {
        {"news", ""},
        {"public/news", ""},
        {"private/orders", ""},
        {"", "InvalidParameter: Channel '' is not valid"},
        {"a b", "InvalidParameter: Channel 'a b' is not valid"},
        {"other/news", "InvalidParameter: Channel 'other/news' is not valid"},
        {"private/orders/new", "InvalidParameter: Channel 'private/orders/new' is not valid"},
        {"ne\x07ws",
         "InvalidParameter: Channel 'ne<U+0007>ws' is not valid: it holds the control character U+0007"},
    };
    for (const auto& [name, refusal] : cases) {
        EXPECT_EQ(said(checkChannel(name.value())), refusal) << *name;
    }
}

}  // namespace
}  // namespace xel
