#include <limits>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {
namespace {

std::string oneLine(const Value& value) {
    return printJSON(value, JSONLayout::OneLine);
}

Value nested(int levels) {
    Value value(1);
    for (int i = 0; i < levels; ++i) {
        value = i % 2 == 0 ? Value(Array{std::move(value)}) : Value(Dictionary{{"a", std::move(value)}});
    }
    return value;
}

TEST(PrintJSON, WritesEveryKindOfValue) {
    EXPECT_EQ(oneLine(Value()), "null");
    EXPECT_EQ(oneLine(Value(true)), "true");
    EXPECT_EQ(oneLine(Value(false)), "false");
    EXPECT_EQ(oneLine(Value(-12)), "-12");
    EXPECT_EQ(oneLine(Value(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
    EXPECT_EQ(oneLine(Value(Array{})), "[]");
    EXPECT_EQ(oneLine(Value(Dictionary{})), "{}");
    EXPECT_EQ(oneLine(Value(Dictionary{{"z", 1}, {"a", Array{Value(2), Value("x")}}})),
              R"({"z":1,"a":[2,"x"]})");
}

TEST(PrintJSON, EscapesWhatATextMustNotHold) {
    EXPECT_EQ(oneLine(Value("\"\\/")), R"("\"\\/")");
    EXPECT_EQ(oneLine(Value("\n\r\t\b\f")), R"("\n\r\t\u0008\u000c")");
    EXPECT_EQ(oneLine(Value(std::string("\0\x1F", 2))), R"("\u0000\u001f")");
    EXPECT_EQ(oneLine(Value("gr\xC3\xBC\xC3\x9F \xF0\x9F\x90\xA7")),
              "\"gr\xC3\xBC\xC3\x9F \xF0\x9F\x90\xA7\"");
    EXPECT_EQ(oneLine(Value(Dictionary{{"a\"b", 1}})), R"({"a\"b":1})");
}

// Plain octets are taken eight at a time: each octet, at each place in such eight, beside each other kind.
TEST(PrintJSON, EscapesTheSameWhereverItStands) {
    for (int octet = 0; octet < 256; ++octet) {
        const std::string one(1, static_cast<char>(octet));
        std::string printed = oneLine(Value(one));
        printed = printed.substr(1, printed.size() - 2);
        EXPECT_EQ(printed == one, octet >= 0x20 && octet < 0x80 && octet != '"' && octet != '\\') << octet;
        for (std::size_t before = 0; before <= 17; ++before) {
            const std::string front(before, '!');
            for (const std::string behind : {"########", "~", "\x7F"}) {
                EXPECT_EQ(oneLine(Value(front + one + behind)), "\"" + front + printed + behind + "\"")
                    << octet << " behind " << before;
            }
        }
    }
}

TEST(PrintJSON, ReplacesOctetsThatAreNotUTF8) {
    EXPECT_EQ(oneLine(Value("a\xFF\xC3")), "\"a\xEF\xBF\xBD\xEF\xBF\xBD\"");
    EXPECT_EQ(oneLine(Value("\xEF\xBF\xBD")), "\"\xEF\xBF\xBD\"");
}

TEST(PrintJSON, WritesWhatJSONHasNoFormFor) {
    EXPECT_EQ(oneLine(Value(std::numeric_limits<double>::infinity())), "null");
    EXPECT_EQ(oneLine(Value(std::numeric_limits<double>::quiet_NaN())), "null");
    EXPECT_EQ(oneLine(Value(Data{0xAB, 0x01})), "\"ab01\"");
    EXPECT_EQ(oneLine(Value(dateFromMillisecondsSince1970(1772357400000.0))), "1772357400000");
    EXPECT_EQ(oneLine(Value(dateFromSecondsSince1970(-1))), "-1000");
}

TEST(PrintJSON, WritesDoublesThatReadBackEqual) {
    SimpleJSONSerialization json;
    for (const double number : {0.1, -2.5e-9, 1e300, 5e-324, 123456789.123456789, 1.7976931348623157e308}) {
        const auto read = json.JSONObjectWithData(oneLine(Value(number)));
        ASSERT_TRUE(read.isOk()) << number;
        EXPECT_EQ(read.value().number(), number);
    }
}

TEST(PrintJSON, WritesOrdinaryNumbersWithoutAnExponent) {
    EXPECT_EQ(oneLine(Value(1514800000000.0)), "1514800000000");
    EXPECT_EQ(oneLine(Value(1514800000000.25)), "1514800000000.25");
    EXPECT_EQ(oneLine(Value(-2000000.0)), "-2000000");
    EXPECT_EQ(oneLine(Value(0.0001)), "0.0001");
    EXPECT_EQ(oneLine(Value(1e16)), "10000000000000000");
    EXPECT_EQ(oneLine(Value(1e17)), "1e+17");
    EXPECT_EQ(oneLine(Value(0.00001)), "1e-05");
    EXPECT_EQ(oneLine(Value(0.0)), "0");
}

TEST(PrintJSON, WritesADictionaryAsTheValueOfIt) {
    const Dictionary dictionary{{"a", Array{Value(1)}}, {"b", Dictionary{{"c", "d"}}}};
    for (const auto layout : {JSONLayout::OneLine, JSONLayout::Pretty}) {
        EXPECT_EQ(printJSON(dictionary, layout), printJSON(Value(dictionary), layout));
    }
    EXPECT_TRUE(isPrintableAsJSON(dictionary));
    EXPECT_FALSE(isPrintableAsJSON(Dictionary{{"a", Data{1}}}));
}

TEST(PrintJSON, WritesPrettyWithOneMemberALine) {
    const Value value(Dictionary{{"a", Array{Value(1), Value(2)}}, {"b", Dictionary{}}, {"c", Array{}}});
    EXPECT_EQ(printJSON(value, JSONLayout::Pretty),
              "{\n"
              "  \"a\" : [\n"
              "    1,\n"
              "    2\n"
              "  ],\n"
              "  \"b\" : {},\n"
              "  \"c\" : []\n"
              "}");
}

TEST(PrintJSON, WritesWhatItsReaderReadsBack) {
    const Value value(Dictionary{{"text", "\"\\\n\t\x01 \xE2\x82\xAC"},
                                 {"numbers", Array{Value(1), Value(-0.5), Value(1e20)}},
                                 {"deep", nested(50)},
                                 {"null", nullptr}});
    SimpleJSONSerialization json;
    for (const auto layout : {JSONLayout::OneLine, JSONLayout::Pretty}) {
        const auto read = json.JSONObjectWithData(printJSON(value, layout));
        ASSERT_TRUE(read.isOk());
        EXPECT_EQ(read.value(), value);
    }
}

TEST(IsPrintableAsJSON, RefusesWhatWouldNotSurvive) {
    EXPECT_TRUE(isPrintableAsJSON(Value()));
    EXPECT_TRUE(
        isPrintableAsJSON(Value(Dictionary{{"a", Array{Value(1), Value(2.5), Value("x"), Value(true)}}})));
    EXPECT_FALSE(isPrintableAsJSON(Value(std::numeric_limits<double>::infinity())));
    EXPECT_FALSE(isPrintableAsJSON(Value(Array{Value(std::numeric_limits<double>::quiet_NaN())})));
    EXPECT_FALSE(isPrintableAsJSON(Value("\xFF")));
    EXPECT_FALSE(isPrintableAsJSON(Value(Dictionary{{"\xFF", 1}})));
    EXPECT_FALSE(isPrintableAsJSON(Value(Data{1})));
    EXPECT_FALSE(isPrintableAsJSON(Value(Dictionary{{"a", dateFromSecondsSince1970(1)}})));
}

TEST(IsPrintableAsJSON, AllowsAsManyLevelsAsAreRead) {
    EXPECT_TRUE(isPrintableAsJSON(nested(kDeepestJSON)));
    EXPECT_FALSE(isPrintableAsJSON(nested(kDeepestJSON + 1)));
}

}  // namespace
}  // namespace xel
