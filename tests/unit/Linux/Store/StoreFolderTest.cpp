#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel {
namespace {

using contract::TemporaryFolder;

constexpr uid_t kNobody = 65534;

TEST(StoreFolder, IsRefusedWhenEverybodyMayWriteToIt) {
    struct Row {
        mode_t mode;
        bool isRefused;
        bool isGroupWritable;
    };
    const TemporaryFolder folder;
    for (const Row& row : {Row{0700, false, false}, Row{0755, false, false}, Row{0770, false, true},
                           Row{0702, true, false}, Row{0777, true, true}, Row{01777, true, true}}) {
        ASSERT_EQ(::chmod(folder.path().c_str(), row.mode), 0);
        const auto outcome = refuseForeignFolder(folder.path());
        EXPECT_EQ(!outcome.isOk(), row.isRefused) << std::oct << row.mode;
        EXPECT_EQ(isGroupWritable(folder.path()), row.isGroupWritable) << std::oct << row.mode;
        if (!outcome) {
            EXPECT_NE(outcome.error().localizedDescription().find(folder.path()), std::string::npos);
        }
    }
}

TEST(StoreFolder, IsRefusedWhenItIsAnotherUsers) {
    const TemporaryFolder folder;
    if (::chown(folder.path().c_str(), kNobody, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "NOT TESTED: only root may give a folder away";
    }
    const auto outcome = refuseForeignFolder(folder.path());
    ASSERT_FALSE(outcome.isOk());
    EXPECT_NE(outcome.error().localizedDescription().find("belongs to another user (65534)"),
              std::string::npos)
        << outcome.error().localizedDescription();
}

TEST(StoreFolder, MayBeRoots) {
    struct stat facts {};
    ASSERT_EQ(::stat("/usr", &facts), 0);
    if (facts.st_uid != 0) {
        GTEST_SKIP() << "NOT TESTED: no folder of root's is known here";
    }
    EXPECT_TRUE(refuseForeignFolder("/usr").isOk());
}

}  // namespace
}  // namespace xel
