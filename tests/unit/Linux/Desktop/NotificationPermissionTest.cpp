#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Desktop/NotificationPermission.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel {
namespace {

constexpr std::uint32_t kOthers = 0xFFFFFFFF & ~7U;

TEST(NotificationPermission, IsWhatTheUsersWordsSay) {
    struct Row {
        std::string text;
        std::uint32_t types;
    };
    const std::vector<Row> table = {
        {"", kEveryNotificationType},
        {"# nothing said\n\n", kEveryNotificationType},
        {"everything", kEveryNotificationType},
        {"off", 0},
        {"  off  # for now\n", 0},
        {"# off", kEveryNotificationType},
        {"alert", kOthers | 4},
        {"alert badge\nsound", kEveryNotificationType},
        {"badge", kOthers | 1},
        {"sound nonsense", kOthers | 2},
        {"OFF", kEveryNotificationType},
    };
    for (const auto& row : table) {
        EXPECT_EQ(notificationTypesOfText(row.text), row.types) << row.text;
    }
}

TEST(NotificationPermission, IsEverythingWithoutAFile) {
    const contract::TemporaryFolder folder;
    EXPECT_EQ(notificationTypesOfUser(folder.path()), kEveryNotificationType);
    std::ofstream(folder.path() + "/notifications") << "off\n";
    EXPECT_EQ(notificationTypesOfUser(folder.path()), 0U);
}

}  // namespace
}  // namespace xel
