#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "XelPushClient/Linux/Store/OutboxRemovals.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

class OutboxRemovalsTest : public ::testing::Test {
protected:
    void open(const std::shared_ptr<FakeRunLoop>& runLoop) {
        auto options = home_.options();
        options.runLoop = runLoop;
        store_ = SqliteStore::open(options).value();
        removals_ = std::make_shared<OutboxRemovals>(store_);
        ASSERT_TRUE(
            store_->commit(false, [this] { return run("INSERT INTO clients(id, name) VALUES(1, 'c')"); }));
        const SqliteStore::Access access(*store_);
        ASSERT_TRUE(removals_->prepare());
    }

    ~OutboxRemovalsTest() override {
        store_->setRider(nullptr);
        const SqliteStore::Access access(*store_);
        removals_->finish();
    }

    int run(const std::string& sql) {
        return sqlite3_exec(store_->connection(), sql.c_str(), nullptr, nullptr, nullptr);
    }

    /// Keeps so many rows, numbered from 1.
    void fill(int count) {
        ASSERT_TRUE(store_->commit(false, [&] {
            int code = SQLITE_OK;
            for (int row = 1; row <= count && code == SQLITE_OK; ++row) {
                code = run("INSERT INTO outbox(seq, client, packet, retain, topic, payload) VALUES(" +
                           std::to_string(row) + ", 1, " + std::to_string(row) + ", 0, 't', 'p')");
            }
            return code;
        }));
    }

    std::int64_t rowsOnDisk() {
        const SqliteStore::Access access(*store_);
        SqliteStatement count;
        EXPECT_EQ(count.prepare(store_->connection(), "SELECT count(*) FROM outbox"), SQLITE_OK);
        EXPECT_EQ(count.step(), SQLITE_ROW);
        return count.integer(0);
    }

    void remove(int first, int last) {
        for (int row = first; row <= last; ++row) {
            removals_->add(row);
        }
        removals_->plan();
    }

    SqliteHome home_;
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<SqliteStore> store_;
    std::shared_ptr<OutboxRemovals> removals_;
};

TEST_F(OutboxRemovalsTest, GoByThemselvesASecondLater) {
    open(loop_);
    fill(5);
    remove(2, 3);
    remove(5, 5);
    EXPECT_EQ(loop_->scheduledTimerCount(), 1U) << "they go together";
    loop_->advanceBy(999ms);
    EXPECT_EQ(rowsOnDisk(), 5);
    loop_->advanceBy(1ms);
    EXPECT_EQ(rowsOnDisk(), 2);
    EXPECT_EQ(loop_->scheduledTimerCount(), 0U);
}

TEST_F(OutboxRemovalsTest, GoWithALaterCommitWhenTheyAreMany) {
    open(loop_);
    store_->setRider(removals_.get());
    fill(40);
    remove(1, 31);
    ASSERT_TRUE(store_->commit(false, [] { return SQLITE_OK; }));
    EXPECT_EQ(rowsOnDisk(), 40) << "too few to be worth it";
    remove(32, 32);
    ASSERT_TRUE(store_->commit(false, [] { return SQLITE_OK; }));
    EXPECT_EQ(rowsOnDisk(), 8);
}

TEST_F(OutboxRemovalsTest, GoWithoutARunLoopWhenManyHaveComeTogether) {
    open(nullptr);
    store_->setRider(removals_.get());
    fill(520);
    remove(1, 511);
    EXPECT_EQ(rowsOnDisk(), 520);
    remove(512, 512);
    EXPECT_EQ(rowsOnDisk(), 8);
}

TEST_F(OutboxRemovalsTest, AreTriedAgainWhenTheyCannotBeWritten) {
    open(loop_);
    fill(3);
    remove(1, 1);
    home_.setFailingCommits(true);
    loop_->advanceBy(1s);
    home_.setFailingCommits(false);
    EXPECT_EQ(rowsOnDisk(), 3);
    loop_->advanceBy(1s);
    EXPECT_EQ(rowsOnDisk(), 2);
}

TEST_F(OutboxRemovalsTest, GoWithoutARunLoopOnceThereIsRoomOnTheDiskAgain) {
    open(nullptr);
    store_->setRider(removals_.get());
    fill(520);
    home_.setFailingCommits(true);
    remove(1, 512);
    home_.setFailingCommits(false);
    EXPECT_EQ(rowsOnDisk(), 520);
    remove(513, 513);
    EXPECT_EQ(rowsOnDisk(), 7);
}

TEST_F(OutboxRemovalsTest, GoFirstInACommitThatGivesTheirNumbersAway) {
    open(loop_);
    fill(2);
    remove(2, 2);
    ASSERT_TRUE(store_->commit(false, [this] {
        const int code = removals_->rideFirst();
        return code == SQLITE_OK ? run("INSERT INTO outbox(seq, client, packet, retain, topic, payload) "
                                       "VALUES(2, 1, 9, 0, 'new', 'p')")
                                 : code;
    }));
    removals_->arrive();
    loop_->advanceBy(2s);
    EXPECT_EQ(rowsOnDisk(), 2) << "the new row stays";
}

}  // namespace
}  // namespace xel::contract
