#include <concepts>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Value.h"

namespace xel {
namespace {

static_assert(std::convertible_to<Dictionary, OptionalDictionary>);
static_assert(std::convertible_to<std::optional<Dictionary>, OptionalDictionary>);
static_assert(std::convertible_to<std::nullopt_t, OptionalDictionary>);
static_assert(std::convertible_to<std::nullptr_t, OptionalDictionary>);
static_assert(!std::convertible_to<const char*, OptionalDictionary>);
static_assert(!std::convertible_to<Value, OptionalDictionary>,
              "a value may be of any kind: ask it for its dictionary");
static_assert(!std::convertible_to<bool, OptionalDictionary>);

std::optional<Dictionary> dictionaryTaken(const OptionalDictionary& dictionary) {
    return dictionary.asOptional();
}

TEST(OptionalDictionaryTest, IsADictionaryWhenMadeOfBraces) {
    EXPECT_EQ(dictionaryTaken({}), Dictionary());
    EXPECT_EQ(dictionaryTaken({{"a", 1}}), (Dictionary{{"a", 1}}));
    EXPECT_EQ(dictionaryTaken({{"a", 1}, {"b", {{"c", "d"}}}}),
              (Dictionary{{"a", 1}, {"b", Dictionary{{"c", "d"}}}}));
}

TEST(OptionalDictionaryTest, IsTheDictionaryItWasMadeFrom) {
    const Dictionary dictionary{{"a", 1}};
    EXPECT_EQ(dictionaryTaken(dictionary), dictionary);
    EXPECT_EQ(dictionaryTaken({dictionary}), dictionary);
    EXPECT_EQ(dictionaryTaken(std::optional(dictionary)), dictionary);
}

TEST(OptionalDictionaryTest, IsMissingWhenMadeFromNothing) {
    EXPECT_EQ(dictionaryTaken(std::nullopt), std::nullopt);
    EXPECT_EQ(dictionaryTaken(nullptr), std::nullopt);
    EXPECT_EQ(dictionaryTaken(std::optional<Dictionary>()), std::nullopt);
}

}  // namespace
}  // namespace xel
