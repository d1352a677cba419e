// Removals from an outbox that are put off: they go with a later write, or by themselves.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Homes/HomeOnDisk.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

class PutOffRemovalsTest : public testing::Test {
protected:
    /// Keeps so many publications, numbered from 1.
    void open(const std::shared_ptr<FakeRunLoop>& runLoop, int count) {
        auto options = home_.options();
        options.runLoop = runLoop;
        stored_ = HomeOnDisk::open(options);
        for (int id = 1; id <= count; ++id) {
            ASSERT_TRUE(
                stored_.memory->appendToOutbox("client", {static_cast<std::uint16_t>(id), "t", "p", false}));
        }
    }

    void remove(std::uint16_t first, std::uint16_t last) {
        std::vector<std::uint16_t> ids(last - first + 1U);
        std::iota(ids.begin(), ids.end(), first);
        stored_.memory->removeFromOutbox("client", ids);
    }

    /// What a process finds that starts when this one is killed now.
    std::size_t publicationsOnDisk() {
        HomeOnDisk copy;
        std::filesystem::create_directories(copy.options().folder);
        std::filesystem::permissions(copy.options().folder, std::filesystem::perms::owner_all);
        for (const char* const file : {".db", ".journal", ".journal-2"}) {
            std::filesystem::copy_file(home_.basePath() + file, copy.basePath() + file);
        }
        return copy.open().memory->loadOutbox("client").value().size();
    }

    HomeOnDisk home_;
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    StoredHome stored_;
};

TEST_F(PutOffRemovalsTest, GoByThemselvesASecondLater) {
    open(loop_, 5);
    remove(2, 3);
    remove(5, 5);
    EXPECT_EQ(stored_.memory->loadOutbox("client").value().size(), 2U);
    EXPECT_EQ(loop_->scheduledTimerCount(), 1U) << "they go together";
    loop_->advanceBy(999ms);
    EXPECT_EQ(publicationsOnDisk(), 5U);
    loop_->advanceBy(1ms);
    EXPECT_EQ(publicationsOnDisk(), 2U);
    EXPECT_EQ(loop_->scheduledTimerCount(), 0U);
}

TEST_F(PutOffRemovalsTest, GoWithTheNextWriteOfAnySort) {
    open(loop_, 5);
    remove(1, 2);
    stored_.defaults->setObject("key", "value");
    ASSERT_TRUE(stored_.defaults->synchronize());
    EXPECT_EQ(publicationsOnDisk(), 3U);
    remove(3, 3);
    ASSERT_TRUE(stored_.memory->appendToOutbox("client", {9, "t", "p", false}));
    EXPECT_EQ(publicationsOnDisk(), 3U);
}

TEST_F(PutOffRemovalsTest, GoBeforeAPublicationThatHasTheNumberOfOneOfThem) {
    open(loop_, 2);
    remove(2, 2);
    ASSERT_TRUE(stored_.memory->appendToOutbox("client", {2, "t", "new", false}));
    loop_->advanceBy(2s);
    EXPECT_EQ(publicationsOnDisk(), 2U) << "the new one stays";
    EXPECT_EQ(stored_.memory->loadOutbox("client").value().back().payload, "new");
}

TEST_F(PutOffRemovalsTest, GoWithoutARunLoopWhenManyHaveComeTogether) {
    open(nullptr, 520);
    remove(1, 511);
    EXPECT_EQ(publicationsOnDisk(), 520U);
    remove(512, 512);
    EXPECT_EQ(publicationsOnDisk(), 8U);
}

TEST_F(PutOffRemovalsTest, AreTriedAgainWhenTheyCannotBeWritten) {
    open(loop_, 3);
    remove(1, 1);
    home_.setFailingCommits(true);
    loop_->advanceBy(1s);
    home_.setFailingCommits(false);
    EXPECT_EQ(publicationsOnDisk(), 3U);
    EXPECT_EQ(home_.problems().size(), 1U);
    loop_->advanceBy(29s);
    EXPECT_EQ(publicationsOnDisk(), 3U) << "a full disk is not asked each second";
    loop_->advanceBy(1s);
    EXPECT_EQ(publicationsOnDisk(), 2U);
}

TEST_F(PutOffRemovalsTest, GoWithoutARunLoopOnceThereIsRoomOnTheDiskAgain) {
    open(nullptr, 520);
    home_.setFailingCommits(true);
    remove(1, 512);
    home_.setFailingCommits(false);
    EXPECT_EQ(publicationsOnDisk(), 520U);
    remove(513, 513);
    EXPECT_EQ(publicationsOnDisk(), 7U);
}

}  // namespace
}  // namespace xel::contract
