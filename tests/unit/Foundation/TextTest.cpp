#include <concepts>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Text.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What a parameter of each type takes without a cast, and what it does not take.
static_assert(std::convertible_to<const char*, Text>);
static_assert(std::convertible_to<std::string_view, Text>);
static_assert(std::convertible_to<std::string, Text>);
static_assert(!std::convertible_to<std::nullptr_t, Text>);
static_assert(!std::convertible_to<std::nullopt_t, Text>);
static_assert(!std::convertible_to<std::optional<std::string>, Text>);
static_assert(!std::convertible_to<bool, Text>);
static_assert(!std::convertible_to<int, Text>);
static_assert(!std::default_initializable<Text>, "a text that must be there is not made of nothing");

static_assert(std::convertible_to<const char*, OptionalText>);
static_assert(std::convertible_to<std::string_view, OptionalText>);
static_assert(std::convertible_to<std::string, OptionalText>);
static_assert(std::convertible_to<std::nullptr_t, OptionalText>);
static_assert(std::convertible_to<std::nullopt_t, OptionalText>);
static_assert(std::convertible_to<std::optional<std::string>, OptionalText>);
static_assert(!std::convertible_to<bool, OptionalText>);
static_assert(!std::convertible_to<int, OptionalText>);

using TakesText = void (*)(const Text& text);
using TakesOptionalText = void (*)(const OptionalText& text);
using TakesTexts = void (*)(const TextList& texts);

template <class T>
concept TakesTwoTextsInBraces = requires(T take) {
    take({"news", "sport"});
};
template <class T>
concept TakesNullptrInBraces = requires(T take) {
    take({nullptr});
};
template <class T>
concept TakesNullptrInAList = requires(T take) {
    take({"news", nullptr});
};
static_assert(!TakesTwoTextsInBraces<TakesText>);
static_assert(!TakesTwoTextsInBraces<TakesOptionalText>);
static_assert(!TakesNullptrInBraces<TakesText>);
static_assert(TakesTwoTextsInBraces<TakesTexts>);
static_assert(!TakesNullptrInAList<TakesTexts>);

TEST(TextTest, HoldsWhatItWasMadeFrom) {
    EXPECT_EQ(Text("literal").string(), "literal");
    EXPECT_EQ(Text(std::string("string")).string(), "string");
    EXPECT_EQ(Text(std::string_view("view of it").substr(0, 4)).string(), "view");
}

TEST(TextTest, RefusesANullPointer) {
    const char* unset = nullptr;
    EXPECT_THROW(Text{unset}, std::invalid_argument);
}

TEST(OptionalTextTest, HoldsWhatItWasMadeFrom) {
    EXPECT_EQ(OptionalText("literal").asOptional(), "literal");
    EXPECT_EQ(OptionalText(std::string("string")).asOptional(), "string");
    EXPECT_EQ(OptionalText(std::string_view("view")).asOptional(), "view");
    EXPECT_EQ(OptionalText(std::optional<std::string>("optional")).asOptional(), "optional");
    EXPECT_EQ(OptionalText("").asOptional(), "") << "an empty text is there";
}

TEST(OptionalTextTest, IsMissingWhenMadeFromNothing) {
    const char* unset = nullptr;
    EXPECT_EQ(OptionalText().asOptional(), std::nullopt);
    EXPECT_EQ(OptionalText(nullptr).asOptional(), std::nullopt);
    EXPECT_EQ(OptionalText(std::nullopt).asOptional(), std::nullopt);
    EXPECT_EQ(OptionalText(std::optional<std::string>()).asOptional(), std::nullopt);
    EXPECT_EQ(OptionalText(unset).asOptional(), std::nullopt);
}

TEST(TextListTest, KeepsTheOrderOfWhatStandsBetweenBraces) {
    const TextList texts = {"news", std::string("sport"), std::string_view("private/orders")};
    EXPECT_THAT(texts.asVector(), ElementsAre("news", "sport", "private/orders"));
    EXPECT_THAT(TextList({}).asVector(), IsEmpty());
}

TEST(TextListTest, TakesAVectorAsItIs) {
    EXPECT_THAT(TextList(std::vector<std::string>{"news", "sport"}).asVector(), ElementsAre("news", "sport"));
}

TEST(TextListTest, ReadsBracesAroundBracesAsOneList) {
    const TextList texts = {{"news", "sport"}};
    EXPECT_THAT(texts.asVector(), ElementsAre("news", "sport"));
}

}  // namespace
}  // namespace xel
