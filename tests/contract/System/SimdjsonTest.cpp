#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"

namespace xel {
namespace {

TEST(SimdjsonSerialization, RefusesADocumentBeyondItsBoundAndReadsTheNextOne) {
    SimdjsonSerialization json;
    const std::string filling(SimdjsonSerialization::kLargestDocument, 'x');
    EXPECT_FALSE(json.JSONObjectWithData("\"" + filling + "\"").isOk());
    const std::string_view fits = std::string_view(filling).substr(2);
    EXPECT_TRUE(json.JSONObjectWithData("\"" + std::string(fits) + "\"").isOk());
    EXPECT_EQ(json.JSONObjectWithData("[1]").value(), Value(Array{Value(1)}));
}

TEST(SimdjsonSerialization, ReadsHugeIntegersBesideTextsThatLookLikeThem) {
    SimdjsonSerialization json;
    const auto read = json.JSONObjectWithData(
        R"({"a\"99999999999999999999":"99999999999999999999","n":[-99999999999999999999,7,1e2]})");
    ASSERT_TRUE(read.isOk());
    EXPECT_EQ(read.value(), Value(Dictionary{{"a\"99999999999999999999", "99999999999999999999"},
                                             {"n", Array{Value(-1e20), Value(7), Value(100.0)}}}));
}

TEST(SimdjsonSerialization, RefusesANumberThatNoDoubleHolds) {
    SimdjsonSerialization json;
    EXPECT_FALSE(json.JSONObjectWithData("1e400").isOk());
    EXPECT_FALSE(json.JSONObjectWithData(std::string(400, '9')).isOk());
}

TEST(SimdjsonSerialization, SaysWhatIsWrong) {
    SimdjsonSerialization json;
    const auto read = json.JSONObjectWithData("\"\xFF\"");
    ASSERT_FALSE(read.isOk());
    EXPECT_EQ(read.error().domain, kJSONErrorDomain);
    EXPECT_NE(read.error().localizedDescription().find("UTF-8"), std::string::npos);
}

}  // namespace
}  // namespace xel
