#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/DecimalText.h"

namespace xel {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(DecimalText, ReadsANumberToTheNearestDouble) {
    struct Case {
        std::string text;
        double number;
    };
    const std::string zeros(400, '0');
    const Case cases[] = {
        {"0", 0},
        {"-0.0", 0},
        {"7", 7},
        {"-1500000000500", -1500000000500.0},
        {"1772357400123.25", 1772357400123.25},
        {"00012.5000", 12.5},
        {".5", 0.5},
        {"5.", 5},
        {"0.1", 0.1},
        {"1e3", 1000},
        {"1.25E+2", 125},
        {"-2.5e-1", -0.25},
        {"9007199254740993", 9007199254740992.0},
        {"9007199254740993.0000000000000000000001", 9007199254740994.0},
        {"9007199254740993." + zeros + zeros + "1", 9007199254740994.0},
        {"9007199254740993." + zeros + zeros, 9007199254740992.0},
        {"0." + zeros + "123e400", 0.123},
        {"1" + zeros + "e-400", 1},
        {"1" + zeros + zeros + "e-800", 1},
        {"1.7976931348623157e308", std::numeric_limits<double>::max()},
        {"5e-324", std::numeric_limits<double>::denorm_min()},
    };
    for (const auto& [text, number] : cases) {
        const auto read = readLeadingDecimal(text);
        EXPECT_EQ(read.number, number) << text;
        EXPECT_EQ(read.length, text.size()) << text;
    }
}

TEST(DecimalText, SaysWhatADoubleCannotHold) {
    struct Case {
        std::string_view text;
        double number;
    };
    constexpr Case cases[] = {
        {"1e309", kInfinity},
        {"-1e309", -kInfinity},
        {"1e99999999999999999999999", kInfinity},
        {"1e18446744073709551617", kInfinity},
        {"1e-18446744073709551617", 0},
        {"1e-400", 0},
        {"1e-99999999999999999999999", 0},
        {"0e99999999999999999999999", 0},
    };
    for (const auto& [text, number] : cases) {
        const auto read = readLeadingDecimal(text);
        EXPECT_EQ(read.number, number) << text;
        EXPECT_EQ(read.length, text.size()) << text;
    }
}

TEST(DecimalText, StopsWhereTheNumberEnds) {
    struct Case {
        std::string_view text;
        double number;
        std::size_t length;
    };
    constexpr Case cases[] = {
        {"", 0, 0},      {"-", 0, 0},     {".", 0, 0},    {"-.", 0, 0},      {"e5", 0, 0},
        {"+1", 0, 0},    {" 1", 0, 0},    {"inf", 0, 0},  {"nan", 0, 0},     {"1.5 ms", 1.5, 3},
        {"2e", 2, 1},    {"2e+", 2, 1},   {"2e-x", 2, 1}, {"1.2.3", 1.2, 3}, {"0x10", 0, 1},
        {"12,5", 12, 2}, {"1-:-2", 1, 1}, {"--1", 0, 0},  {"3e1.5", 30, 3},  {"4ee5", 4, 1},
    };
    for (const auto& [text, number, length] : cases) {
        const auto read = readLeadingDecimal(text);
        EXPECT_EQ(read.number, number) << text;
        EXPECT_EQ(read.length, length) << text;
    }
}

}  // namespace
}  // namespace xel
