#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Dictionary.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {
namespace {

std::string keyOf(int number) {
    return "key " + std::to_string(number);
}

std::string keysOf(const Dictionary& dictionary) {
    std::string keys;
    for (const auto& [key, value] : dictionary) {
        keys += key + " ";
    }
    return keys;
}

/// More keys than are searched linearly.
Dictionary largeDictionary(int count = 100) {
    Dictionary dictionary;
    for (int i = 0; i < count; ++i) {
        dictionary.set(keyOf(i), i);
    }
    return dictionary;
}

void expectHoldsExactly(const Dictionary& dictionary, int first, int last) {
    EXPECT_EQ(dictionary.size(), static_cast<std::size_t>(last - first));
    for (int i = first; i < last; ++i) {
        const Value* found = dictionary.find(keyOf(i));
        ASSERT_NE(found, nullptr) << i;
        EXPECT_EQ(*found, Value(i)) << i;
    }
    EXPECT_EQ(dictionary.find(keyOf(first - 1)), nullptr);
    EXPECT_EQ(dictionary.find(keyOf(last)), nullptr);
}

TEST(Dictionary, MakesRoomForAKeyAtItsPlace) {
    Dictionary dictionary{{"z", 1}};
    dictionary.at("a") = 2;
    EXPECT_TRUE(dictionary.at("m").isNull());
    dictionary.at("z") = 3;
    EXPECT_EQ(dictionary, (Dictionary{{"z", 3}, {"a", 2}, {"m", nullptr}}));
    EXPECT_EQ(keysOf(dictionary), "z a m ");
}

TEST(Dictionary, FindsWhatWasPutInPlaceIntoALargeOne) {
    Dictionary dictionary = largeDictionary();
    EXPECT_TRUE(dictionary.contains(keyOf(0)));
    dictionary.at(keyOf(100)) = 100;
    expectHoldsExactly(dictionary, 0, 101);
}

TEST(Dictionary, KeepsTheOrderInWhichKeysWereFirstSet) {
    Dictionary dictionary{{"z", 1}, {"a", 2}, {"m", 3}};
    dictionary.set("a", 20);
    EXPECT_EQ(keysOf(dictionary), "z a m ");
    EXPECT_EQ(*dictionary.find("a"), Value(20));
    EXPECT_TRUE(dictionary.remove("z"));
    dictionary.set("z", 4);
    EXPECT_EQ(keysOf(dictionary), "a m z ");
}

TEST(Dictionary, KeepsTheLastOfEqualKeysGivenAtOnce) {
    const Dictionary dictionary{{"a", 1}, {"b", 2}, {"a", 3}};
    EXPECT_EQ(dictionary.size(), 2U);
    EXPECT_EQ(*dictionary.find("a"), Value(3));
}

TEST(Dictionary, FindsNothingWhenEmptyOrCleared) {
    Dictionary dictionary;
    EXPECT_TRUE(dictionary.empty());
    EXPECT_EQ(dictionary.find(""), nullptr);
    EXPECT_FALSE(dictionary.remove("a"));
    dictionary.set("", 1);
    EXPECT_TRUE(dictionary.contains(""));
    dictionary.clear();
    EXPECT_FALSE(dictionary.contains(""));
    EXPECT_EQ(dictionary.size(), 0U);
}

TEST(Dictionary, FindsEveryKeyAroundTheSizeWhereItStartsAnIndex) {
    for (const int count : {31, 32, 33, 34, 100}) {
        const auto dictionary = largeDictionary(count);
        expectHoldsExactly(dictionary, 0, count);
    }
}

TEST(Dictionary, FindsWhatIsSetAndRemovedAfterTheIndexWasBuilt) {
    auto dictionary = largeDictionary();
    ASSERT_TRUE(dictionary.contains(keyOf(50)));
    dictionary.set(keyOf(100), 100);
    dictionary.set(keyOf(50), 5000);
    EXPECT_EQ(*dictionary.find(keyOf(50)), Value(5000));
    dictionary.set(keyOf(50), 50);
    expectHoldsExactly(dictionary, 0, 101);
    for (int i = 0; i < 90; ++i) {
        EXPECT_TRUE(dictionary.remove(keyOf(i)));
        EXPECT_FALSE(dictionary.remove(keyOf(i)));
        expectHoldsExactly(dictionary, i + 1, 101);
    }
    for (int i = 101; i < 200; ++i) {
        dictionary.set(keyOf(i), i);
    }
    expectHoldsExactly(dictionary, 90, 200);
}

TEST(Dictionary, FindsNothingAfterALargeOneWasCleared) {
    auto dictionary = largeDictionary();
    ASSERT_TRUE(dictionary.contains(keyOf(0)));
    dictionary.clear();
    EXPECT_FALSE(dictionary.contains(keyOf(0)));
    for (int i = 40; i < 80; ++i) {
        dictionary.set(keyOf(i), i);
    }
    expectHoldsExactly(dictionary, 40, 80);
}

TEST(Dictionary, CopiesAndMovesWithItsIndex) {
    auto original = largeDictionary();
    ASSERT_TRUE(original.contains(keyOf(1)));
    Dictionary copy = original;
    copy.remove(keyOf(0));
    expectHoldsExactly(original, 0, 100);
    expectHoldsExactly(copy, 1, 100);
    const Dictionary moved = std::move(copy);
    expectHoldsExactly(moved, 1, 100);
    Dictionary assigned = largeDictionary(40);
    ASSERT_TRUE(assigned.contains(keyOf(3)));
    assigned = original;
    expectHoldsExactly(assigned, 0, 100);
    Dictionary moveAssigned = largeDictionary(40);
    ASSERT_TRUE(moveAssigned.contains(keyOf(3)));
    moveAssigned = std::move(assigned);
    expectHoldsExactly(moveAssigned, 0, 100);
    auto& self = moveAssigned;
    moveAssigned = self;
    expectHoldsExactly(moveAssigned, 0, 100);
}

TEST(Dictionary, IsUsableAfterItWasMovedFrom) {
    auto dictionary = largeDictionary();
    ASSERT_TRUE(dictionary.contains(keyOf(1)));
    const Dictionary taken = std::move(dictionary);
    dictionary.clear();
    for (int i = 200; i < 250; ++i) {
        dictionary.set(keyOf(i), i);
    }
    expectHoldsExactly(dictionary, 200, 250);
    expectHoldsExactly(taken, 0, 100);
}

TEST(Dictionary, IsEqualInWhateverOrder) {
    EXPECT_EQ((Dictionary{{"a", 1}, {"b", 2}}), (Dictionary{{"b", 2}, {"a", 1}}));
    EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"a", 2}}));
    EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"b", 1}}));
    EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"a", 1}, {"b", 2}}));
    EXPECT_FALSE((Dictionary{{"a", 1}, {"b", 2}}) == (Dictionary{{"a", 1}}));
}

}  // namespace
}  // namespace xel
