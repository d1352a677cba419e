#include <functional>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/GrantedTopics.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/unit/MQTTSDK/UnreadableMemory.h"

namespace xel {
namespace {

constexpr std::string_view kClient = "shop/alice/d1";

class GrantedTopicsTest : public testing::Test {
protected:
    TopicTable stored() { return memory_.loadGrantedTopics(kClient).value(); }
    GrantedTopics load() { return {memory_, std::string(kClient)}; }

    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    InMemorySessionMemory memory_{disk_};
};

TEST_F(GrantedTopicsTest, AreWrittenWhenStoredAndOnlyWhenChanged) {
    auto granted = load();
    granted.takeAnswer("a", 1);
    granted.takeAnswer("b", 0);
    EXPECT_TRUE(stored().empty());
    granted.store();
    EXPECT_EQ(stored(), (TopicTable{{"a", 1}, {"b", 0}}));
    const auto commits = disk_->commitCount();
    granted.takeAnswer("a", 1);
    granted.forget("unknown");
    granted.store();
    EXPECT_EQ(disk_->commitCount(), commits);
    granted.forget("a");
    granted.takeAnswer("b", 1);
    granted.store();
    EXPECT_EQ(stored(), (TopicTable{{"b", 1}}));
}

TEST_F(GrantedTopicsTest, AreWhatTheLastAnswerMakesOfThem) {
    using Answer = GrantedTopics::Answer;
    struct Row {
        std::string_view topic;
        std::uint8_t code;
        Answer answer;
        TopicTable left;
    };
    const Row table[] = {
        {"a", 1, Answer::Granted, {{"a", 1}}},           {"b", 0x80, Answer::Refused, {{"a", 1}}},
        {"a", 0, Answer::Granted, {{"a", 0}}},           {"b", 2, Answer::Granted, {{"a", 0}, {"b", 1}}},
        {"a", 0x80, Answer::TakesGrantBack, {{"b", 1}}}, {"a", 0x80, Answer::Refused, {{"b", 1}}},
    };
    auto granted = load();
    for (const auto& row : table) {
        EXPECT_EQ(granted.takeAnswer(row.topic, row.code), row.answer) << row.topic << " " << int{row.code};
        EXPECT_EQ(granted.topics(), row.left);
    }
}

TEST_F(GrantedTopicsTest, AreThereAfterANewStart) {
    {
        auto granted = load();
        granted.takeAnswer("a", 1);
        granted.takeAnswer("b", 0);
        granted.store();
    }
    const auto granted = load();
    EXPECT_EQ(granted.topics(), (TopicTable{{"a", 1}, {"b", 0}}));
    EXPECT_FALSE(granted.isRestorationAwaited());
}

TEST_F(GrantedTopicsTest, RememberAnAwaitedRestorationOverANewStart) {
    {
        auto granted = load();
        granted.takeAnswer("a", 1);
        granted.setRestorationAwaited(true);
        granted.store();
    }
    for (const auto& [topic, qos] : stored()) {
        EXPECT_TRUE(qos >= 0 && qos <= 2) << "every store takes " << topic;
    }
    auto granted = load();
    EXPECT_EQ(granted.topics(), (TopicTable{{"a", 1}})) << "the mark is no topic";
    EXPECT_TRUE(granted.isRestorationAwaited());
    granted.setRestorationAwaited(false);
    granted.store();
    EXPECT_EQ(stored(), (TopicTable{{"a", 1}}));
}

TEST_F(GrantedTopicsTest, LeaveNoMarkWhenNoneIsLeft) {
    auto granted = load();
    granted.takeAnswer("a", 1);
    granted.setRestorationAwaited(true);
    granted.forget("a");
    granted.store();
    EXPECT_TRUE(stored().empty());
}

TEST_F(GrantedTopicsTest, AreTriedAgainWhenTheyCouldNotBeStored) {
    auto granted = load();
    disk_->setFailingCommits(true);
    granted.takeAnswer("a", 1);
    granted.store();
    disk_->setFailingCommits(false);
    EXPECT_TRUE(stored().empty());
    granted.store();
    EXPECT_EQ(stored(), (TopicTable{{"a", 1}}));
}

TEST_F(GrantedTopicsTest, AreNotReplacedWhileTheyCannotBeReadAndTakeWhatChangedMeanwhile) {
    const std::string mark(GrantedTopics::kMark);
    ASSERT_TRUE(
        memory_
            .storeGrantedTopics(kClient, {{"kept", 1}, {"left", 1}, {mark + "gone", 0}, {mark + "wanted", 0}})
            .isOk());
    UnreadableMemory unreadable(memory_);
    GrantedTopics granted(unreadable, std::string(kClient));
    granted.takeAnswer("new", 1);
    granted.beginRemoval("left");
    granted.endRemoval("wanted");
    granted.store();
    EXPECT_EQ(stored().size(), 4U) << "nothing is written over what is there";
    unreadable.isReadable = true;
    granted.store();
    EXPECT_EQ(granted.topics(), (TopicTable{{"new", 1}, {"kept", 1}}));
    EXPECT_EQ(granted.unconfirmedRemovals(), (std::set<std::string, std::less<>>{"gone", "left"}));
    EXPECT_TRUE(granted.isRestorationAwaited()) << "no broker was asked for what was unknown";
    EXPECT_EQ(load().topics(), granted.topics());
    EXPECT_EQ(load().unconfirmedRemovals(), granted.unconfirmedRemovals());
}

TEST_F(GrantedTopicsTest, AreAwaitedWhileTheyCannotBeReadIfTheyWereBefore) {
    UnreadableMemory unreadable(memory_);
    GrantedTopics granted(unreadable, std::string(kClient));
    granted.load();
    EXPECT_FALSE(granted.isRestorationAwaited());
    granted.setRestorationAwaited(true);
    granted.load();
    EXPECT_TRUE(granted.isRestorationAwaited());
}

TEST_F(GrantedTopicsTest, HaveLeftAlsoWhenThatWasConfirmedBeforeTheyCouldBeRead) {
    ASSERT_TRUE(memory_.storeGrantedTopics(kClient, {{"left", 1}}).isOk());
    UnreadableMemory unreadable(memory_);
    GrantedTopics granted(unreadable, std::string(kClient));
    granted.beginRemoval("left");
    granted.endRemoval("left");
    unreadable.isReadable = true;
    granted.store();
    EXPECT_TRUE(granted.topics().empty());
    EXPECT_TRUE(granted.unconfirmedRemovals().empty());
}

TEST_F(GrantedTopicsTest, AreKnownAsGrantedUntilForgotten) {
    ASSERT_TRUE(memory_.storeGrantedTopics(kClient, {{"bell\x07", 1}}).isOk());
    auto granted = load();
    granted.takeAnswer("a", 1);
    EXPECT_TRUE(granted.wasGranted("a"));
    EXPECT_TRUE(granted.wasGranted("bell\x07")) << "also under a name that is not sent any more";
    EXPECT_FALSE(granted.wasGranted("b"));
    granted.forget("a");
    EXPECT_FALSE(granted.wasGranted("a"));
}

TEST_F(GrantedTopicsTest, AreWrittenOnceForARemovalThatIsBegunTwice) {
    auto granted = load();
    granted.beginRemoval("a");
    granted.store();
    const auto commits = disk_->commitCount();
    granted.beginRemoval("a");
    granted.store();
    EXPECT_EQ(disk_->commitCount(), commits);
    EXPECT_EQ(load().unconfirmedRemovals().size(), 1U);
}

TEST_F(GrantedTopicsTest, LeaveOutDamagedRemovals) {
    const std::string mark(GrantedTopics::kMark);
    ASSERT_TRUE(memory_.storeGrantedTopics(kClient, {{mark + "a/#/b", 0}, {mark + "good", 0}}).isOk());
    EXPECT_EQ(load().unconfirmedRemovals().size(), 1U);
    EXPECT_TRUE(load().unconfirmedRemovals().contains("good"));
}

TEST_F(GrantedTopicsTest, LeaveOutWhatADamagedStoreHolds) {
    ASSERT_TRUE(
        memory_.storeGrantedTopics(kClient, {{"a/#/b", 1}, {"", 1}, {"good", 77}, {"low", -3}}).isOk());
    EXPECT_EQ(load().topics(), (TopicTable{{"good", 1}, {"low", 0}}));
}

}  // namespace
}  // namespace xel
