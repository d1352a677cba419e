#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Result.h"

namespace xel {
namespace {

TEST(Result, HoldsAValue) {
    Result<std::string> result = std::string("value");
    EXPECT_TRUE(result.isOk());
    EXPECT_TRUE(static_cast<bool>(result));
    EXPECT_EQ(result.value(), "value");
    result.value() += "!";
    EXPECT_EQ(std::as_const(result).value(), "value!");
    EXPECT_THROW(static_cast<void>(result.error()), std::logic_error);
}

TEST(Result, HoldsAnError) {
    Result<std::string> result = makeError("Domain", 3, "broken");
    EXPECT_FALSE(result.isOk());
    EXPECT_FALSE(static_cast<bool>(result));
    EXPECT_EQ(result.error().code, 3);
    EXPECT_THROW(static_cast<void>(result.value()), std::logic_error);
    EXPECT_THROW(static_cast<void>(std::as_const(result).value()), std::logic_error);
    EXPECT_THROW(static_cast<void>(std::move(result).value()), std::logic_error);
}

TEST(Result, GivesItsValueAway) {
    Result<std::unique_ptr<int>> result = std::make_unique<int>(5);
    const auto taken = std::move(result).value();
    EXPECT_EQ(*taken, 5);
}

TEST(Result, TellsANullValueFromAnError) {
    const Result<Value> nothing = Value();
    EXPECT_TRUE(nothing.isOk());
    EXPECT_TRUE(nothing.value().isNull());
}

TEST(Result, OfNothingIsDoneOrAnError) {
    const Result<void> done;
    EXPECT_TRUE(done.isOk());
    EXPECT_THROW(static_cast<void>(done.error()), std::logic_error);
    const Result<void> failed = makeError("Domain", 3, "broken");
    EXPECT_FALSE(failed.isOk());
    EXPECT_EQ(failed.error().localizedDescription(), "broken");
}

}  // namespace
}  // namespace xel
