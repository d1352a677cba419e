#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Date.h"

namespace xel {
namespace {

TEST(Date, CountsFrom1970InSecondsAndMilliseconds) {
    EXPECT_EQ(secondsSince1970(dateFromSecondsSince1970(1.5)), 1.5);
    EXPECT_EQ(secondsSince1970(dateFromMillisecondsSince1970(1500000000500.0)), 1500000000.5);
    EXPECT_EQ(millisecondsSince1970(dateFromSecondsSince1970(-2)), -2000.0);
    EXPECT_LT(dateFromMillisecondsSince1970(999), dateFromSecondsSince1970(1));
}

TEST(Date, CountsFromTheReferenceDate) {
    EXPECT_EQ(describeDate(dateFromSecondsSinceReferenceDate(0)), "2001-01-01 00:00:00 +0000");
    EXPECT_EQ(secondsSinceReferenceDate(dateFromSecondsSince1970(978307200.5)), 0.5);
    EXPECT_EQ(secondsSinceReferenceDate(dateFromSecondsSinceReferenceDate(793964600.0)), 793964600.0);
}

TEST(Date, KeepsMillisecondsOfOurTimeExactly) {
    for (const double milliseconds : {1772357400123.0, 1772357400124.0, 1772357400125.0}) {
        EXPECT_EQ(std::llround(millisecondsSince1970(dateFromMillisecondsSince1970(milliseconds))),
                  std::llround(milliseconds));
    }
}

TEST(Date, CutsMillisecondsTowards1970WhereNoFractionIsTaken) {
    struct Case {
        double milliseconds;
        std::int64_t whole;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {0, 0},
        {1772357400123.0, 1772357400123},
        {1.75, 1},
        {-1.75, -1},
        {-62167219200000.0, -62167219200000},
        {1e300, std::numeric_limits<std::int64_t>::max()},
        {infinity, std::numeric_limits<std::int64_t>::max()},
        {-infinity, std::numeric_limits<std::int64_t>::min()},
        {std::nan(""), 0},
    };
    for (const auto& [milliseconds, whole] : cases) {
        EXPECT_EQ(wholeMillisecondsSince1970(dateFromMillisecondsSince1970(milliseconds)), whole)
            << milliseconds;
    }
}

TEST(DescribeDate, WritesTheCalendarInUTC) {
    struct Case {
        double seconds;
        std::string text;
    };
    const Case cases[] = {
        {0, "1970-01-01 00:00:00 +0000"},
        {0.999, "1970-01-01 00:00:00 +0000"},
        {-0.001, "1969-12-31 23:59:59 +0000"},
        {1772357405, "2026-03-01 09:30:05 +0000"},
        {1709164799, "2024-02-28 23:59:59 +0000"},
        {1709164800, "2024-02-29 00:00:00 +0000"},
        {253402300799.0, "9999-12-31 23:59:59 +0000"},
        {-62167219200.0, "0000-01-01 00:00:00 +0000"},
    };
    for (const auto& [seconds, text] : cases) {
        EXPECT_EQ(describeDate(dateFromSecondsSince1970(seconds)), text);
    }
}

TEST(DescribeDate, WritesANumberWhereTheCalendarWouldMislead) {
    EXPECT_EQ(describeDate(dateFromSecondsSince1970(253402300800.0)), "253402300800.000000");
    EXPECT_EQ(describeDate(dateFromSecondsSince1970(-62167219201.0)), "-62167219201.000000");
    EXPECT_EQ(describeDate(dateFromSecondsSince1970(std::numeric_limits<double>::infinity())), "inf");
    EXPECT_EQ(describeDate(dateFromSecondsSince1970(std::numeric_limits<double>::max())).substr(0, 5),
              "17976");
    EXPECT_NE(describeDate(dateFromSecondsSince1970(std::nan(""))).find("nan"), std::string::npos);
}

}  // namespace
}  // namespace xel
