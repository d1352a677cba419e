#include <gtest/gtest.h>

#include "XelPushClient/Foundation/DictionaryReading.h"

namespace xel {
namespace {

const Dictionary kRecord{
    {"text", "a"},    {"number", 1.5}, {"integer", 7}, {"list", Array{1}}, {"inner", Dictionary{{"k", "v"}}},
    {"null", Value()}};

TEST(DictionaryReading, FindsAValueOfItsKind) {
    EXPECT_EQ(textUnder(kRecord, "text"), "a");
    EXPECT_EQ(numberUnder(kRecord, "number"), 1.5);
    EXPECT_EQ(numberUnder(kRecord, "integer"), 7.0);
    EXPECT_EQ(integerUnder(kRecord, "integer"), 7);
    EXPECT_EQ(identifierUnder(kRecord, "text"), "a");
    EXPECT_EQ(identifierUnder(kRecord, "number"), "1.5");
    EXPECT_EQ(identifierUnder(kRecord, "integer"), "7");
    EXPECT_EQ(arrayUnder(kRecord, "list"), Array{1});
    EXPECT_EQ(dictionaryUnder(kRecord, "inner"), (Dictionary{{"k", "v"}}));
    EXPECT_EQ(valueUnder(kRecord, "text"), Value("a"));
}

TEST(DictionaryReading, ReadsAMissingKeyAndAnotherKindAsAbsent) {
    for (const char* key : {"missing", "null", "inner"}) {
        EXPECT_EQ(textUnder(kRecord, key), std::nullopt) << key;
        EXPECT_EQ(numberUnder(kRecord, key), std::nullopt) << key;
        EXPECT_EQ(integerUnder(kRecord, key), std::nullopt) << key;
        EXPECT_EQ(identifierUnder(kRecord, key), std::nullopt) << key;
        EXPECT_EQ(arrayUnder(kRecord, key), std::nullopt) << key;
    }
    EXPECT_EQ(dictionaryUnder(kRecord, "list"), std::nullopt);
    EXPECT_EQ(textUnder(kRecord, "number"), std::nullopt);
    EXPECT_EQ(valueUnder(kRecord, "missing"), Value());
}

}  // namespace
}  // namespace xel
