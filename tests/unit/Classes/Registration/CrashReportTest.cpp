#include <gtest/gtest.h>

#include "XelPushClient/Classes/Registration/CrashReport.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel {
namespace {

CrashReport report() {
    return {Dictionary{{"screen", "cart"}},
            {"shop", "key", "1.16.1", "D1", 1514800000123},
            "12.4",
            {"0 host crash + 12", "1 host main + 34"},
            dateFromSecondsSince1970(1514800123.987)};
}

Dictionary parsed(const CrashReport& report) {
    auto value = SimpleJSONSerialization().JSONObjectWithData(crashReportText(report));
    EXPECT_TRUE(value);
    return value ? *value.value().asDictionary() : Dictionary();
}

TEST(CrashReport, HasNineMembers) {
    const Dictionary expected{
        {"CUSTOM_DATA", Dictionary{{"screen", "cart"}, {"DEVICE_ID", "D1"}, {"APP_ID", "shop"}}},
        {"created", std::int64_t{1514800123000}},
        {"OS_VERSION", "12.4"},
        {"APP_VERSION_CODE", "1.16.1"},
        {"STACK_TRACE", Array{"0 host crash + 12", "1 host main + 34"}},
        {"USER_CRASH_DATE", std::int64_t{1514800123000}},
        {"USER_APP_START_DATE", std::int64_t{1514800000123}},
        {"DEVICE_ID", "D1"},
        {"APP_ID", "shop"}};
    EXPECT_EQ(parsed(report()), expected) << crashReportText(report());
    EXPECT_EQ(parsed(report()).size(), 9U);
}

TEST(CrashReport, ReplacesTheHostsOwnIds) {
    auto crash = report();
    crash.userInfo = Dictionary{{"APP_ID", "theirs"}, {"DEVICE_ID", 5}, {"created", "theirs"}};
    EXPECT_EQ(*parsed(crash).find("CUSTOM_DATA"),
              Value(Dictionary{{"APP_ID", "shop"}, {"DEVICE_ID", "D1"}, {"created", "theirs"}}));
}

TEST(CrashReport, CutsTheTimeToTheSecond) {
    for (const double seconds : {0.0, 0.999, 1514800000.0, 1514800000.9999}) {
        auto crash = report();
        crash.created = dateFromSecondsSince1970(seconds);
        const auto members = parsed(crash);
        EXPECT_EQ(*members.find("created"), Value(static_cast<std::int64_t>(seconds) * 1000));
        EXPECT_EQ(*members.find("created"), *members.find("USER_CRASH_DATE"));
    }
}

TEST(CrashReport, IsPrettyPrinted) {
    EXPECT_NE(crashReportText(report()).find("\n  \"OS_VERSION\" : \"12.4\",\n"), std::string::npos)
        << crashReportText(report());
}

TEST(CrashReport, HoldsNoSecret) {
    EXPECT_EQ(crashReportText(report()).find("\"key\""), std::string::npos);
}

TEST(CrashReport, IsADocumentWhateverTheHostPutIn) {
    auto crash = report();
    crash.userInfo = Dictionary{{"text", "\xFF\n\""}, {"number", 1e300 * 1e300}, {"none", nullptr}};
    EXPECT_EQ(parsed(crash).size(), 9U);
}

}  // namespace
}  // namespace xel
