#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/LoopBack/QueryString.h"

namespace xel {
namespace {

struct QueryCase {
    const char* name;
    Dictionary parameters;
    std::string expected;
};

class QueryStringForms : public testing::TestWithParam<QueryCase> {};

TEST_P(QueryStringForms, WritesParametersInTheirOrder) {
    EXPECT_EQ(queryString(GetParam().parameters), GetParam().expected);
}

const QueryCase kCases[] = {
    {"Nothing", {}, ""},
    {"OrderIsKept", {{"b", "1"}, {"a", "2"}}, "b=1&a=2"},
    {"TextIsEncoded", {{"a b", "c&d=é"}}, "a%20b=c%26d%3D%C3%A9"},
    {"EmptyText", {{"a", ""}}, "a="},
    {"NullIsTheBareKey", {{"a", nullptr}, {"b", 1}}, "a&b=1"},
    {"Booleans", {{"t", true}, {"f", false}}, "t=1&f=0"},
    {"Numbers", {{"i", std::int64_t{-9007199254740993}}, {"d", 0.1}}, "i=-9007199254740993&d=0.1"},
    {"Date", {{"at", dateFromMillisecondsSince1970(1514800000000)}}, "at=1514800000000"},
    {"Octets", {{"token", Data{0x00, 0xAB}}}, "token=00ab"},
    {"Array", {{"a", Array{1, "x y"}}}, "a[]=1&a[]=x%20y"},
    {"EmptyArray", {{"a", Array{}}, {"b", 2}}, "b=2"},
    {"Nested",
     {{"a", Dictionary{{"b c", Dictionary{{"d", 1}}}, {"e", Array{Dictionary{{"f", 2}}}}}}},
     "a[b%20c][d]=1&a[e][][f]=2"},
};

INSTANTIATE_TEST_SUITE_P(QueryString, QueryStringForms, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace xel
