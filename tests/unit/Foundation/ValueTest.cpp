#include <cmath>
#include <concepts>
#include <limits>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Value.h"

namespace xel {
namespace {

constexpr auto kLargestInteger = std::numeric_limits<std::int64_t>::max();
constexpr auto kSmallest = std::numeric_limits<std::int64_t>::min();

TEST(Value, TellsItsKind) {
    EXPECT_TRUE(Value().isNull());
    EXPECT_TRUE(Value(nullptr).isNull());
    EXPECT_TRUE(Value(true).isBool());
    EXPECT_TRUE(Value(1).isInteger());
    EXPECT_TRUE(Value(std::int64_t{1}).isInteger());
    EXPECT_TRUE(Value(1.0).isDouble());
    EXPECT_TRUE(Value("text").isString());
    EXPECT_TRUE(Value(std::string_view("text")).isString());
    EXPECT_NE(Value(Data{1}).asData(), nullptr);
    EXPECT_NE(Value(dateFromSecondsSince1970(1)).asDate(), nullptr);
    EXPECT_NE(Value(Array{}).asArray(), nullptr);
    EXPECT_NE(Value(Dictionary{}).asDictionary(), nullptr);
}

// What becomes a value without a cast, and what does not.
template <class T>
constexpr bool becomesAValue = std::convertible_to<T, Value>;
static_assert(becomesAValue<short> && becomesAValue<unsigned short> && becomesAValue<int> &&
              becomesAValue<unsigned> && becomesAValue<long> && becomesAValue<unsigned long> &&
              becomesAValue<long long> && becomesAValue<unsigned long long>);
static_assert(becomesAValue<std::int8_t> && becomesAValue<std::uint8_t> && becomesAValue<std::size_t>);
static_assert(becomesAValue<bool> && becomesAValue<float> && becomesAValue<double>);
static_assert(becomesAValue<const char*> && becomesAValue<char*> && becomesAValue<std::nullptr_t>);
static_assert(!becomesAValue<char> && !becomesAValue<wchar_t> && !becomesAValue<char8_t> &&
                  !becomesAValue<char16_t> && !becomesAValue<char32_t>,
              "a character may be meant as a text or as a number");
static_assert(!becomesAValue<void*> && !becomesAValue<const std::string*> && !becomesAValue<unsigned char*>,
              "a pointer would become the boolean true");

TEST(Value, TakesEveryIntegerType) {
    EXPECT_EQ(Value(short{-7}), Value(-7));
    EXPECT_EQ(Value(static_cast<unsigned short>(65535)), Value(65535));
    EXPECT_EQ(Value(7U), Value(7));
    EXPECT_EQ(Value(4294967295U), Value(std::int64_t{4294967295}));
    EXPECT_EQ(Value(-7L), Value(-7));
    EXPECT_EQ(Value(7UL), Value(7));
    EXPECT_EQ(Value(-7LL), Value(-7));
    EXPECT_EQ(Value(7ULL), Value(7));
    EXPECT_EQ(Value(std::int8_t{-7}), Value(-7));
    EXPECT_EQ(Value(std::uint8_t{200}), Value(200));
    EXPECT_EQ(Value(std::string("four").size()), Value(4));
}

TEST(Value, MakesADoubleOfWhatOnlyAnUnsignedTypeHolds) {
    constexpr std::uint64_t kLargestThatFits = 9223372036854775807U;
    EXPECT_EQ(Value(kLargestThatFits), Value(kLargestInteger));
    const Value beyond(kLargestThatFits + 1);
    EXPECT_TRUE(beyond.isDouble());
    EXPECT_EQ(beyond.number(), 9223372036854775808.0);
}

TEST(Value, IsNullForANullPointerToText) {
    const char* unset = nullptr;
    EXPECT_TRUE(Value(unset).isNull());
}

TEST(Value, MakesADictionaryOfNestedBraces) {
    const Value position = {{"lat", 52.1}, {"name", "Berlin"}};
    ASSERT_NE(position.asDictionary(), nullptr);
    EXPECT_EQ(*position.asDictionary(), (Dictionary{{"lat", 52.1}, {"name", "Berlin"}}));
    const Dictionary nested{{"from", {{"lat", 1}}}, {"both", Array{{{"lat", 2}}, 3}}};
    EXPECT_EQ(*nested.find("from"), Value(Dictionary{{"lat", 1}}));
    EXPECT_EQ(*nested.find("both"), Value(Array{Value(Dictionary{{"lat", 2}}), Value(3)}));
    const Value pair = {{"a", "b"}};
    EXPECT_EQ(pair, Value(Dictionary{{"a", "b"}})) << "never a text between two pointers";
}

TEST(Value, CountsBooleansIntegersAndDoublesAsNumbers) {
    EXPECT_TRUE(Value(false).isNumber());
    EXPECT_TRUE(Value(7).isNumber());
    EXPECT_TRUE(Value(7.5).isNumber());
    EXPECT_FALSE(Value("7").isNumber());
    EXPECT_FALSE(Value().isNumber());
}

TEST(Value, ReadsAsAbsentWhenAskedForAnotherKind) {
    const Value text("12");
    EXPECT_EQ(text.asInteger(), nullptr);
    EXPECT_EQ(text.asBool(), nullptr);
    EXPECT_EQ(text.asArray(), nullptr);
    EXPECT_EQ(text.asDictionary(), nullptr);
    EXPECT_EQ(text.asData(), nullptr);
    EXPECT_EQ(text.asDate(), nullptr);
    EXPECT_EQ(text.number(), std::nullopt);
    EXPECT_EQ(text.integer(), std::nullopt);
    EXPECT_EQ(Value(1).asString(), nullptr);
    EXPECT_EQ(Value(1).asBool(), nullptr);
    EXPECT_EQ(Value(true).asInteger(), nullptr);
}

TEST(Value, CutsAndClampsNumbersToIntegers) {
    struct Case {
        Value value;
        std::optional<std::int64_t> integer;
    };
    const Case cases[] = {
        {Value(true), 1},
        {Value(false), 0},
        {Value(-5), -5},
        {Value(2.9), 2},
        {Value(-2.9), -2},
        {Value(1e300), kLargestInteger},
        {Value(-1e300), kSmallest},
        {Value(9223372036854775808.0), kLargestInteger},
        {Value(-9223372036854775808.0), kSmallest},
        {Value(9223372036854774784.0), 9223372036854774784},
        {Value(std::numeric_limits<double>::infinity()), kLargestInteger},
        {Value(-std::numeric_limits<double>::infinity()), kSmallest},
        {Value(std::nan("")), 0},
        {Value(), std::nullopt},
        {Value(Array{}), std::nullopt},
    };
    for (const auto& [value, integer] : cases) {
        EXPECT_EQ(value.integer(), integer);
    }
}

TEST(Value, ReadsNumbersAsDoublesAndTruths) {
    EXPECT_EQ(Value(true).number(), 1.0);
    EXPECT_EQ(Value(-3).number(), -3.0);
    EXPECT_EQ(Value(0.5).number(), 0.5);
    EXPECT_TRUE(Value(true).truth());
    EXPECT_TRUE(Value(-1).truth());
    EXPECT_TRUE(Value(0.1).truth());
    EXPECT_FALSE(Value(0).truth());
    EXPECT_FALSE(Value(0.0).truth());
    EXPECT_FALSE(Value("true").truth());
    EXPECT_FALSE(Value().truth());
}

TEST(Value, IsEqualByKindAndContent) {
    EXPECT_EQ(Value(1), Value(1));
    EXPECT_FALSE(Value(1) == Value(1.0));
    EXPECT_FALSE(Value(1) == Value(true));
    EXPECT_FALSE(Value("1") == Value(1));
    EXPECT_EQ(Value(Array{Value(1), Value("a")}), Value(Array{Value(1), Value("a")}));
    EXPECT_FALSE(Value(Array{Value(1)}) == Value(Array{Value(1), Value(2)}));
    EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", 2}}), Value(Dictionary{{"b", 2}, {"a", 1}}));
    EXPECT_EQ(Value(Data{1, 2}), Value(Data{1, 2}));
}

TEST(Value, IsCopiedDeeply) {
    Value first(Dictionary{{"list", Array{Value(1)}}});
    const Value second = first;
    first.asDictionary()->find("list")->asArray()->emplace_back(2);
    EXPECT_EQ(second, Value(Dictionary{{"list", Array{Value(1)}}}));
}

}  // namespace
}  // namespace xel
