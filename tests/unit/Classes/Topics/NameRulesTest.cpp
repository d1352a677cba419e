#include <gtest/gtest.h>

#include "XelPushClient/Classes/Topics/NameRules.h"

namespace xel {
namespace {

std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

TEST(NameRules, TakeUserIdsOfThreeToThirtyTwoUnits) {
    EXPECT_FALSE(isUserIdValid(std::nullopt));
    EXPECT_FALSE(isUserIdValid(""));
    EXPECT_FALSE(isUserIdValid("ab"));
    EXPECT_TRUE(isUserIdValid("abc"));
    EXPECT_TRUE(isUserIdValid(repeated("a", 32)));
    EXPECT_FALSE(isUserIdValid(repeated("a", 33)));
}

TEST(NameRules, CountUTF16Units) {
    EXPECT_TRUE(isUserIdValid("\u00e9\u00e9\u00e9"));
    EXPECT_FALSE(isUserIdValid("\u00e9\u00e9"));
    EXPECT_TRUE(isUserIdValid("\U0001F600a")) << "outside the basic plane a character counts twice";
    EXPECT_TRUE(isUserIdValid(repeated("\U0001F600", 16)));
    EXPECT_FALSE(isUserIdValid(repeated("\U0001F600", 17)));
}

TEST(NameRules, RefuseForbiddenCharactersInUserIds) {
    for (const auto* forbidden : {" ", "\t", "\n", "\r", "\u00a0", "#", "+", "/", "*", "\\"}) {
        EXPECT_FALSE(isUserIdValid(std::string("ab") + forbidden + "cd")) << forbidden;
        EXPECT_FALSE(isUserIdValid(std::string(forbidden) + "abc")) << forbidden;
        EXPECT_FALSE(isUserIdValid(std::string("abc") + forbidden)) << forbidden;
    }
    EXPECT_FALSE(isUserIdValid("   "));
    EXPECT_TRUE(isUserIdValid("a.b-c_d@e|s"));
}

TEST(NameRules, RefuseForbiddenCharactersInChannelsButNotTheSlash) {
    for (const auto* forbidden : {" ", "\t", "\n", "\r", "\u2028", "#", "+", "*", "\\"}) {
        EXPECT_FALSE(isChannelValid(std::string("ne") + forbidden + "ws")) << forbidden;
    }
    EXPECT_TRUE(isChannelValid("private/orders"));
    EXPECT_TRUE(isChannelValid("/"));
    EXPECT_TRUE(isChannelValid("s|news"));
    EXPECT_TRUE(isChannelValid(repeated("a", 10'000))) << "there is no limit of length";
}

TEST(NameRules, RefuseBlankChannels) {
    for (const auto* blank : {"", " ", "\t ", "\n"}) {
        EXPECT_FALSE(isChannelValid(blank));
    }
}

TEST(NameRules, RefuseOctetsThatAreNoText) {
    EXPECT_FALSE(isChannelValid("ne\xFFws"));
    EXPECT_FALSE(isUserIdValid("ab\xC0\x80"));
}

TEST(NameRules, RefuseASlashInEventNames) {
    EXPECT_TRUE(isEventNameValid("login"));
    EXPECT_FALSE(isEventNameValid("log/in"));
    EXPECT_FALSE(isEventNameValid("log in"));
    EXPECT_FALSE(isEventNameValid(""));
}

TEST(NameRules, FindWhatAPatternForbids) {
    EXPECT_TRUE(checkValidationOfString("abc", R"(\s|#)"));
    EXPECT_FALSE(checkValidationOfString("a#c", R"(\s|#)"));
    EXPECT_FALSE(checkValidationOfString("a c", R"(\s|#)"));
    EXPECT_TRUE(checkValidationOfString("s", R"(\s)"));
    EXPECT_FALSE(checkValidationOfString(R"(a\c)", R"(#|\\)"));
    EXPECT_TRUE(checkValidationOfString("", R"(\s)"));
}

TEST(NameRules, ScanALongTextWithoutExhaustingTheStack) {
    EXPECT_TRUE(isChannelValid(repeated("a", 200'000)));
}

TEST(NameRules, DescribeAnInvalidParameter) {
    const auto error = generateInvalidParameterErrorWithMessage("Channel 'x y' is not valid");
    EXPECT_EQ(error, (NSError{"InvalidParameter", -5002,
                              Dictionary{{"NSLocalizedDescription", "Channel 'x y' is not valid"}}}));
}

}  // namespace
}  // namespace xel
