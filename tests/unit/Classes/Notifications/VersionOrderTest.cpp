#include <gtest/gtest.h>

#include "XelPushClient/Classes/Notifications/VersionOrder.h"

namespace xel {
namespace {

TEST(VersionOrder, ComparesRunsOfDigitsAsNumbers) {
    struct Row {
        std::string_view version;
        std::string_view other;
        bool isLower;
    };
    const std::vector<Row> table = {
        {"9.3", "10.0", true},        {"10.0", "10.0", false},
        {"10.0", "9.3", false},       {"11.2", "10.0", false},
        {"10", "10.0", true},         {"10.0.1", "10.0", false},
        {"9.99.99", "10.0", true},    {"010.0", "10.0", false},
        {"9", "010.0", true},         {"100", "99", false},
        {"", "10.0", true},           {"", "", false},
        {"10.0-beta", "10.0", false}, {"10.0a", "10.0b", true},
        {"10.a", "10.0", false},      {"99999999999999999999999999", "100000000000000000000000000", true},
    };
    for (const auto& row : table) {
        EXPECT_EQ(isVersionLower(row.version, row.other), row.isLower) << row.version << " " << row.other;
    }
}

}  // namespace
}  // namespace xel
