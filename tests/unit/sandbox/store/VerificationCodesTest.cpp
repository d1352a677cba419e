#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/store/Database.h"
#include "sandbox/store/VerificationCodes.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

class VerificationCodesTest : public testing::Test {
protected:
    // A code that is certainly not the given one.
    static std::string another(const std::string& code) { return code == "000000" ? "000001" : "000000"; }

    test::TemporaryFolder folder_;
    Database database_{folder_.path() / "codes.db"};
    std::int64_t now_ = 1'000'000;
    VerificationCodes codes_{database_, [this] { return now_; }};
};

TEST_F(VerificationCodesTest, MakesSixDigits) {
    for (int i = 0; i < 50; ++i) {
        EXPECT_THAT(codes_.request("alice01"), testing::MatchesRegex("[0-9][0-9][0-9][0-9][0-9][0-9]"));
    }
}

TEST_F(VerificationCodesTest, MakesDifferentCodes) {
    const std::string first = codes_.request("alice01");
    bool differs = false;
    for (int i = 0; i < 20 && !differs; ++i) {
        differs = codes_.request("alice01") != first;
    }
    EXPECT_TRUE(differs);
}

TEST_F(VerificationCodesTest, AcceptsTheRightCodeOnce) {
    const std::string code = codes_.request("alice01");
    EXPECT_FALSE(codes_.verify("bob02", code));
    EXPECT_FALSE(codes_.verify("alice01", another(code)));
    EXPECT_TRUE(codes_.verify("alice01", code));
    EXPECT_FALSE(codes_.verify("alice01", code));
}

TEST_F(VerificationCodesTest, KnowsNoUserWhoAskedForNone) {
    EXPECT_FALSE(codes_.verify("alice01", "123456"));
    EXPECT_FALSE(codes_.verify("alice01", ""));
}

TEST_F(VerificationCodesTest, ForgetsTheOldCodeWhenAnotherIsMade) {
    std::string first = codes_.request("alice01");
    std::string second = codes_.request("alice01");
    while (second == first) {
        second = codes_.request("alice01");
    }
    EXPECT_FALSE(codes_.verify("alice01", first));
    EXPECT_TRUE(codes_.verify("alice01", second));
}

TEST_F(VerificationCodesTest, AcceptsACodeForTenMinutes) {
    const std::string code = codes_.request("alice01");
    now_ += 10 * 60 * 1000 - 1;
    EXPECT_TRUE(codes_.verify("alice01", code));

    const std::string late = codes_.request("alice01");
    now_ += 10 * 60 * 1000;
    EXPECT_FALSE(codes_.verify("alice01", late));
    EXPECT_TRUE(codes_.list(10).empty());
}

TEST_F(VerificationCodesTest, RefusesTheRightCodeAfterFiveWrongOnes) {
    const std::string code = codes_.request("alice01");
    for (int i = 0; i < 4; ++i) {
        EXPECT_FALSE(codes_.verify("alice01", another(code)));
    }
    EXPECT_TRUE(codes_.verify("alice01", code));

    const std::string next = codes_.request("alice01");
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(codes_.verify("alice01", another(next)));
    }
    EXPECT_FALSE(codes_.verify("alice01", next));
    EXPECT_TRUE(codes_.verify("alice01", codes_.request("alice01")));
}

TEST_F(VerificationCodesTest, GivesANewCodeAllItsTries) {
    const std::string code = codes_.request("alice01");
    codes_.verify("alice01", another(code));
    ASSERT_EQ(codes_.list(10).at(0)["triesLeft"], 4);
    codes_.request("alice01");
    EXPECT_EQ(codes_.list(10).at(0)["triesLeft"], 5);
}

TEST_F(VerificationCodesTest, ListsWhatCanStillBeUsed) {
    const std::string alice = codes_.request("alice01");
    const std::string bob = codes_.request("bob02");
    codes_.request("carol03");
    ASSERT_TRUE(codes_.verify("bob02", bob));
    const Json list = codes_.list(10);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0],
              (Json{{"user", "alice01"}, {"code", alice}, {"expires", now_ + 600'000}, {"triesLeft", 5}}));
    EXPECT_EQ(list[1]["user"], "carol03");
    EXPECT_EQ(codes_.list(1).at(0)["user"], "carol03");
}

TEST_F(VerificationCodesTest, KeepsThemForTheNextStart) {
    const std::string code = codes_.request("alice01");
    Database database(folder_.path() / "codes.db");
    VerificationCodes again(database, [this] { return now_; });
    EXPECT_TRUE(again.verify("alice01", code));
}

}  // namespace
}  // namespace xel::sandbox
