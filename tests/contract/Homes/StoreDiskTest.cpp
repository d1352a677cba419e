// The store on disks that are full or can only be read, and what its files let others see.

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/FileMode.h"
#include "tests/contract/Store/MountNamespace.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kCannotOpen = static_cast<std::int64_t>(StoreErrorCode::CannotOpen);
constexpr std::int64_t kWriteFailed = static_cast<std::int64_t>(StoreErrorCode::WriteFailed);

std::map<std::string, std::string> filesIn(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        files[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
}

class StoreDiskTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string folder() { return home_.options().folder; }
    /// The folder of the store is a disk of its own.
    void mountSmallDisk() {
        fs::create_directories(folder());
        mountDisk(folder(), "512k");
    }
    /// Takes all the room that is left on it.
    void fillDisk() {
        std::ofstream filler(folder() + "/filler", std::ios::binary | std::ios::app);
        const std::string page(512, 'f');
        while (filler << page << std::flush) {}
    }
    static bool saysThatTheDiskIsFull(const NSError& error) {
        return error.localizedDescription().find("the disk is full") != std::string::npos;
    }
    void freeDisk() { fs::remove(folder() + "/filler"); }

    HomeOnDisk home_;
};

TEST_F(StoreDiskTest, LetsNobodyElseSeeAnything) {
    const mode_t before = ::umask(0);
    {
        const auto defaults = home_.open().defaults;
        defaults->setObject("userId", "alice01");
        EXPECT_TRUE(defaults->synchronize());
        EXPECT_EQ(modeOf(folder()), 0700U);
        EXPECT_EQ(modeOf(fs::path(folder()).parent_path()), 0700U) << "what was missing above it too";
        for (const auto& entry : fs::directory_iterator(folder())) {
            EXPECT_EQ(modeOf(entry.path()), 0600U) << entry.path();
        }
    }
    fs::permissions(home_.databasePath(), fs::perms(0644));
    EXPECT_NE(home_.open().defaults, nullptr);
    EXPECT_EQ(modeOf(home_.databasePath()), 0600U) << "a copy put back may have had another mode";
    ::umask(before);
}

TEST_F(StoreDiskTest, ReportsAFullDiskAndGoesOnWhenThereIsRoomAgain) {
    WITH_MOUNTS_OF_ITS_OWN([this] {
        mountSmallDisk();
        const std::string large(20'000, 'x');
        {
            const auto defaults = home_.open().defaults;
            ASSERT_NE(defaults, nullptr);
            defaults->setObject("userId", "alice01");
            ASSERT_TRUE(defaults->synchronize());
            fillDisk();
            defaults->setObject("large", large);
            EXPECT_FALSE(defaults->synchronize());
            ASSERT_FALSE(home_.problems().empty());
            EXPECT_EQ(home_.problems().front().code, kWriteFailed)
                << home_.problems().front().localizedDescription();
            EXPECT_TRUE(saysThatTheDiskIsFull(home_.problems().front()));
            EXPECT_EQ(defaults->stringForKey("large"), large) << "this process still knows";
            freeDisk();
            EXPECT_TRUE(defaults->synchronize()) << "what could not be stored is stored now";
        }
        const auto defaults = home_.open().defaults;
        ASSERT_NE(defaults, nullptr);
        EXPECT_EQ(defaults->stringForKey("userId"), "alice01");
        EXPECT_EQ(defaults->stringForKey("large"), large);
    });
}

TEST_F(StoreDiskTest, LosesNothingStoredWhenItEndsOnAFullDisk) {
    WITH_MOUNTS_OF_ITS_OWN([this] {
        mountSmallDisk();
        {
            const auto memory = home_.open().memory;
            ASSERT_NE(memory, nullptr);
            ASSERT_TRUE(memory->appendToOutbox("client", {1, "t", "kept", false}).isOk());
            fillDisk();
            const auto refused = memory->appendToOutbox("client", {2, "t", std::string(20'000, 'p'), false});
            ASSERT_FALSE(refused.isOk());
            EXPECT_EQ(refused.error().code, kWriteFailed);
        }
        freeDisk();
        const auto outbox = home_.open().memory->loadOutbox("client").value();
        ASSERT_EQ(outbox.size(), 1U);
        EXPECT_EQ(outbox.front().packetId, 1);
    });
}

TEST_F(StoreDiskTest, CannotBeMadeOnAFullDisk) {
    WITH_MOUNTS_OF_ITS_OWN([this] {
        mountSmallDisk();
        fillDisk();
        const auto opened = HomeStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_EQ(opened.error().code, kWriteFailed) << opened.error().localizedDescription();
        EXPECT_TRUE(saysThatTheDiskIsFull(opened.error()));
        EXPECT_NE(opened.error().localizedDescription().find(folder()), std::string::npos);
        freeDisk();
        EXPECT_TRUE(HomeStore::open(home_.options()).isOk());
    });
}

TEST_F(StoreDiskTest, IsLeftAsItIsWhereItCanOnlyBeRead) {
    {
        const auto defaults = home_.open().defaults;
        defaults->setObject("userId", "alice01");
        ASSERT_TRUE(defaults->synchronize());
    }
    const auto before = filesIn(folder());
    WITH_MOUNTS_OF_ITS_OWN([this] {
        makeReadOnly(folder());
        const auto opened = HomeStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_EQ(opened.error().code, kCannotOpen) << opened.error().localizedDescription();
        EXPECT_NE(opened.error().localizedDescription().find(folder()), std::string::npos);
    });
    EXPECT_EQ(filesIn(folder()), before) << "and not taken for damaged";
    EXPECT_EQ(home_.open().defaults->stringForKey("userId"), "alice01");
}

}  // namespace
}  // namespace xel::contract
