#include <memory>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/GrantedTopics.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"

namespace xel {
namespace {

constexpr std::string_view kClient = "shop/alice/d1";

class GrantedTopicsTest : public testing::Test {
protected:
    TopicTable stored() { return memory_.loadGrantedTopics(kClient); }
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

TEST_F(GrantedTopicsTest, LeaveOutWhatADamagedStoreHolds) {
    ASSERT_TRUE(
        memory_.storeGrantedTopics(kClient, {{"a/#/b", 1}, {"", 1}, {"good", 77}, {"low", -3}}).isOk());
    EXPECT_EQ(load().topics(), (TopicTable{{"good", 1}, {"low", 0}}));
}

}  // namespace
}  // namespace xel
