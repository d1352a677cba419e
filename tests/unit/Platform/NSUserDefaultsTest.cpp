#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSUserDefaults.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"

namespace xel {
namespace {

class NSUserDefaultsTest : public ::testing::Test {
protected:
    std::shared_ptr<InMemoryUserDefaults> defaults_ =
        InMemoryUserDefaults::open(std::make_shared<FakeDisk>()).value();
};

TEST_F(NSUserDefaultsTest, ReadsNumbersLoosely) {
    struct Case {
        Value value;
        bool flag;
        std::int64_t integer;
        double number;
    };
    const Case cases[] = {
        {Value(true), true, 1, 1.0},     {Value(0), false, 0, 0.0},
        {Value(-3), true, -3, -3.0},     {Value(2.75), true, 2, 2.75},
        {Value("12"), false, 0, 0.0},    {Value(Array{Value(1)}), false, 0, 0.0},
        {Value(nullptr), false, 0, 0.0},
    };
    for (const auto& [value, flag, integer, number] : cases) {
        defaults_->setObject("key", value);
        EXPECT_EQ(defaults_->boolForKey("key"), flag);
        EXPECT_EQ(defaults_->integerForKey("key"), integer);
        EXPECT_EQ(defaults_->doubleForKey("key"), number);
    }
}

TEST_F(NSUserDefaultsTest, ReadsTextsTablesAndListsStrictly) {
    defaults_->setObject("text", "t");
    defaults_->setObject("table", Dictionary{{"a", 1}});
    defaults_->setObject("list", Array{Value(1)});
    EXPECT_EQ(defaults_->stringForKey("text"), "t");
    EXPECT_EQ(defaults_->dictionaryForKey("table"), (Dictionary{{"a", 1}}));
    EXPECT_EQ(defaults_->arrayForKey("list"), (Array{Value(1)}));
    EXPECT_EQ(defaults_->stringForKey("table"), std::nullopt);
    EXPECT_EQ(defaults_->dictionaryForKey("list"), std::nullopt);
    EXPECT_EQ(defaults_->arrayForKey("text"), std::nullopt);
    EXPECT_EQ(defaults_->stringForKey("missing"), std::nullopt);
}

}  // namespace
}  // namespace xel
