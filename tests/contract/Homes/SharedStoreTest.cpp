// Many homes in one store: each its own, and their turns together.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/JournalImage.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Homes/HomeOnDisk.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

class SharedStoreTest : public testing::Test {
protected:
    SharedStoreTest() {
        auto options = home_.options();
        options.runLoop = loop_;
        store_ = HomeStore::open(options).value();
    }

    StoredHome openHome(const std::string& name) { return openStoredHome(store_, name).value(); }

    std::size_t recordsInJournal() {
        std::size_t count = 0;
        (void)JournalImage::read(home_.basePath() + ".journal").value().forEachRecord([&](auto) { ++count; });
        return count;
    }

    void endTurn(const StoredHome& home, int turn) {
        home.defaults->setObject("turn", turn);
        home.defaults->synchronizeTurn([this](bool isStored) { answers_.push_back(isStored); });
    }

    HomeOnDisk home_;
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<HomeStore> store_;
    std::vector<bool> answers_;
};

TEST_F(SharedStoreTest, KeepsHomesApart) {
    {
        const auto alice = openHome("alice");
        const auto bob = openHome("bob");
        alice.defaults->setObject("userId", "alice");
        bob.defaults->setObject("userId", "bob");
        ASSERT_TRUE(alice.defaults->synchronize());
        ASSERT_TRUE(bob.defaults->synchronize());
        ASSERT_TRUE(alice.memory->appendToOutbox("client", {1, "t", "of alice", false}));
        ASSERT_TRUE(bob.memory->appendToOutbox("client", {1, "t", "of bob", false}));
        bob.memory->removeFromOutbox("client", std::vector<std::uint16_t>{1});
        ASSERT_TRUE(alice.memory->storeGrantedTopics("client", {{"t", 1}}));
        EXPECT_TRUE(bob.memory->loadGrantedTopics("client").value().empty());
    }
    store_.reset();
    store_ = HomeStore::open(home_.options()).value();
    const auto alice = openHome("alice");
    const auto bob = openHome("bob");
    EXPECT_EQ(alice.defaults->stringForKey("userId"), "alice");
    EXPECT_EQ(bob.defaults->stringForKey("userId"), "bob");
    EXPECT_EQ(alice.memory->loadOutbox("client").value().at(0).payload, "of alice");
    EXPECT_TRUE(bob.memory->loadOutbox("client").value().empty());
    EXPECT_TRUE(openHome("carol").memory->clientIds().empty());
}

TEST_F(SharedStoreTest, ErasesOneHomeAlone) {
    const auto alice = openHome("alice");
    const auto bob = openHome("bob");
    for (const auto* const each : {&alice, &bob}) {
        each->defaults->setObject("userId", "somebody");
        ASSERT_TRUE(each->defaults->synchronize());
        ASSERT_TRUE(each->memory->appendToOutbox("client", {1, "t", "p", false}));
    }
    alice.memory->erase("client");
    alice.defaults->removeObject("userId");
    ASSERT_TRUE(alice.defaults->synchronize());
    EXPECT_TRUE(alice.memory->loadOutbox("client").value().empty());
    EXPECT_EQ(bob.memory->loadOutbox("client").value().size(), 1U);
    EXPECT_EQ(bob.defaults->stringForKey("userId"), "somebody");
}

TEST_F(SharedStoreTest, RefusesAHomeThatIsOpenAndFindsWhatOneHasWrittenThatWasClosed) {
    {
        const auto alice = openHome("alice");
        const auto again = openStoredHome(store_, "alice");
        ASSERT_FALSE(again.isOk());
        EXPECT_EQ(again.error().code, static_cast<std::int64_t>(StoreErrorCode::InUse));
        EXPECT_NE(again.error().localizedDescription().find("\"alice\""), std::string::npos);
        alice.defaults->setObject("userId", "alice");
        ASSERT_TRUE(alice.defaults->synchronize());
        ASSERT_TRUE(alice.memory->appendToOutbox("client", {1, "t", "p", false}));
    }
    const auto alice = openHome("alice");
    EXPECT_EQ(alice.defaults->stringForKey("userId"), "alice");
    EXPECT_EQ(alice.memory->loadOutbox("client").value().size(), 1U);
}

TEST_F(SharedStoreTest, WritesTheTurnsOfOneWaitForEventsTogether) {
    const auto alice = openHome("alice");
    const auto bob = openHome("bob");
    endTurn(alice, 1);
    bob.memory->removeFromOutbox("client", std::vector<std::uint16_t>{7});
    endTurn(bob, 1);
    EXPECT_TRUE(answers_.empty());
    EXPECT_EQ(recordsInJournal(), 0U);
    loop_->runUntilIdle();
    EXPECT_EQ(answers_, (std::vector<bool>{true, true}));
    EXPECT_EQ(recordsInJournal(), 1U);
    endTurn(bob, 2);
    loop_->runUntilIdle();
    EXPECT_EQ(answers_.size(), 3U);
    EXPECT_EQ(recordsInJournal(), 2U);
}

TEST_F(SharedStoreTest, TakesTurnsAlongWithAPublication) {
    const auto alice = openHome("alice");
    const auto bob = openHome("bob");
    endTurn(alice, 1);
    ASSERT_TRUE(bob.memory->appendToOutbox("client", {1, "t", "p", false}));
    EXPECT_EQ(recordsInJournal(), 1U);
    EXPECT_TRUE(answers_.empty()) << "never inside another home's call";
    loop_->runUntilIdle();
    EXPECT_EQ(answers_, std::vector<bool>{true});
    EXPECT_EQ(recordsInJournal(), 1U);
}

TEST_F(SharedStoreTest, TellsEveryTurnOfAWriteThatFailedAndTriesAgainByItself) {
    const auto alice = openHome("alice");
    const auto bob = openHome("bob");
    home_.setFailingCommits(true);
    endTurn(alice, 1);
    endTurn(bob, 1);
    loop_->runUntilIdle();
    home_.setFailingCommits(false);
    EXPECT_EQ(answers_, (std::vector<bool>{false, false}));
    EXPECT_EQ(home_.problems().size(), 1U);
    endTurn(alice, 2);
    loop_->runUntilIdle();
    EXPECT_TRUE(answers_.back());
    EXPECT_EQ(recordsInJournal(), 1U) << "what waits of the other home goes with it";

    home_.setFailingCommits(true);
    bob.defaults->setObject("name", "Bob");
    EXPECT_FALSE(bob.defaults->synchronize());
    home_.setFailingCommits(false);
    loop_->advanceBy(30s);
    EXPECT_EQ(recordsInJournal(), 2U);
    endTurn(bob, 3);
    loop_->runUntilIdle();
    EXPECT_TRUE(answers_.back());
}

TEST_F(SharedStoreTest, ForgetsAHomeThatWasClosedBeforeItsTurnWasWritten) {
    auto alice = openHome("alice");
    const auto bob = openHome("bob");
    endTurn(alice, 1);
    endTurn(bob, 1);
    alice = {};
    loop_->runUntilIdle();
    EXPECT_EQ(answers_, std::vector<bool>{true}) << "nobody is there any more who waits for the other one";
    EXPECT_FALSE(store_->isShared());
    endTurn(bob, 2);
    EXPECT_EQ(answers_.size(), 2U) << "alone, it waits for nobody";
}

}  // namespace
}  // namespace xel::contract
