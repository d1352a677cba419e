#include <limits>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {
namespace {

TEST(Formatted, FillsPlaceholdersInOrder) {
    EXPECT_EQ(formatted("app/%@/%@", "shop", std::string("event")), "app/shop/event");
    EXPECT_EQ(formatted("[%s]: %d of %@", std::string_view("f"), 3, 5U), "[f]: 3 of 5");
    EXPECT_EQ(formatted("no placeholder"), "no placeholder");
    EXPECT_EQ(formatted("%@"), "(null)");
    EXPECT_EQ(formatted("%@ %@", "one"), "one (null)");
    EXPECT_EQ(formatted("%@", "one", "too many"), "one");
}

TEST(Formatted, NeverReadsAnArgumentAsAFormat) {
    EXPECT_EQ(formatted("%@|%@", "%@", "%%"), "%@|%%");
}

TEST(Formatted, KeepsWhatIsNoPlaceholder) {
    EXPECT_EQ(formatted("100%%"), "100%");
    EXPECT_EQ(formatted("100%"), "100%");
    EXPECT_EQ(formatted("%q %"), "%q %");
    EXPECT_EQ(formatted("%.f %.12f", 1.0), "%.f %.12f");
}

TEST(Formatted, ShowsAMissingTextOrError) {
    EXPECT_EQ(formatted("%@", std::optional<std::string>()), "(null)");
    EXPECT_EQ(formatted("%@", std::optional<std::string>("here")), "here");
    EXPECT_EQ(formatted("%@", std::optional<NSError>()), "(null)");
    EXPECT_EQ(formatted("%@", std::optional<NSError>(makeError("D", 1, "text"))),
              "Error Domain=D Code=1 \"text\"");
}

TEST(Formatted, WritesNumbersWithTheirDecimals) {
    EXPECT_EQ(formatted("%f", 1772357400123.0), "1772357400123.000000");
    EXPECT_EQ(formatted("%.1f", 179.96), "180.0");
    EXPECT_EQ(formatted("%.0f", 2.6), "3");
    EXPECT_EQ(formatted("%f", 3), "3.000000");
    EXPECT_EQ(formatted("%d", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(formatted("%f", std::numeric_limits<double>::max()).size(), 316U);
    EXPECT_EQ(formatted("%.9f", -std::numeric_limits<double>::max()).size(), 320U);
    EXPECT_EQ(formatted("%@", 0.1), "0.10000000000000001");
}

TEST(Formatted, WritesDatesInUTC) {
    EXPECT_EQ(formatted("%@", dateFromSecondsSince1970(1772357405)), "2026-03-01 09:30:05 +0000");
}

TEST(DescribeValue, WritesJSONOnOneLine) {
    EXPECT_EQ(describeValue(Value(Dictionary{{"a", Array{Value(1), Value("b"), Value()}}})),
              R"({"a":[1,"b",null]})");
    EXPECT_EQ(formatted("%@", Dictionary{{"a", true}}), R"({"a":true})");
    EXPECT_EQ(describeValue(Value("text")), "\"text\"");
}

}  // namespace
}  // namespace xel
