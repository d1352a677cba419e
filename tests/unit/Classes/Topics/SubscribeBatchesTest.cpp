#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/Topics/SubscribeBatches.h"

namespace xel {
namespace {

using testing::ElementsAre;

TEST(SubscribeBatches, AreTakenOnceByTheirPacketIdentifier) {
    SubscribeBatches batches;
    batches.wasWritten(7, {{"a", "b"}, batches.takeTicket()});
    EXPECT_FALSE(batches.take(8));
    EXPECT_TRUE(batches.contains(7));
    const auto batch = batches.take(7);
    ASSERT_TRUE(batch);
    EXPECT_THAT(batch->filters, ElementsAre("a", "b"));
    EXPECT_FALSE(batches.take(7));
}

TEST(SubscribeBatches, AreForgottenWithTheConnection) {
    SubscribeBatches batches;
    batches.wasWritten(7, {{"a"}, batches.takeTicket()});
    batches.forgetUnanswered();
    EXPECT_FALSE(batches.contains(7));
}

TEST(SubscribeBatches, HaveWhatOverlappingOnesWereAnswered) {
    SubscribeBatches batches;
    const auto first = batches.takeTicket();
    const auto second = batches.takeTicket();
    batches.wasAnswered("a", first, true);
    batches.wasAnswered("b", first, false);
    EXPECT_TRUE(batches.isReportedSince(second, "a"));
    EXPECT_TRUE(batches.isStoredSince(second, "a"));
    EXPECT_TRUE(batches.isReportedSince(second, "b"));
    EXPECT_FALSE(batches.isStoredSince(second, "b")) << "reported, but not granted";
    EXPECT_FALSE(batches.isReportedSince(second, "c"));
    const auto third = batches.takeTicket();
    EXPECT_FALSE(batches.isReportedSince(third, "a")) << "asked for after the answer";
    EXPECT_FALSE(batches.isStoredSince(third, "a"));
}

TEST(SubscribeBatches, RememberAnAnswerForOthersOnly) {
    SubscribeBatches batches;
    const auto alone = batches.takeTicket();
    batches.wasAnswered("a", alone, true);
    EXPECT_FALSE(batches.isReportedSince(alone, "a")) << "its topics are different ones, so nobody will ask";
    const auto waiting = batches.takeTicket();
    batches.wasAnswered("b", alone, true);
    EXPECT_TRUE(batches.isReportedSince(waiting, "b"));
}

TEST(SubscribeBatches, DoNotOverlapOverAnUnsubscription) {
    SubscribeBatches batches;
    const auto before = batches.takeTicket();
    const auto alsoBefore = batches.takeTicket();
    batches.wasUnsubscribed("a");
    const auto after = batches.takeTicket();
    batches.wasAnswered("a", before, true);
    EXPECT_TRUE(batches.isReportedSince(alsoBefore, "a"));
    EXPECT_FALSE(batches.isReportedSince(after, "a"));
    EXPECT_FALSE(batches.isStoredSince(after, "a"));
}

TEST(SubscribeBatches, LeaveOutWhatWasGivenUpSinceTheyWereAskedFor) {
    SubscribeBatches batches;
    const auto topics = std::make_shared<const TopicTable>(TopicTable{{"a", 1}, {"b", 0}});
    const auto before = batches.takeTicket();
    EXPECT_EQ(batches.stillWanted(topics, before), topics);
    batches.wasGivenUp("a");
    EXPECT_EQ(*batches.stillWanted(topics, before), (TopicTable{{"b", 0}}));
    EXPECT_EQ(batches.stillWanted(topics, batches.takeTicket()), topics) << "asked for anew";
    EXPECT_EQ(batches.stillWanted(nullptr, before), nullptr);
}

TEST(SubscribeBatches, RememberNothingOfAFormerSession) {
    SubscribeBatches batches;
    const auto old = batches.takeTicket();
    const auto other = batches.takeTicket();
    batches.wasWritten(7, {{"a"}, old});
    batches.wasAnswered("a", old, true);
    EXPECT_TRUE(batches.isReportedSince(other, "a"));
    batches.forgetSession();
    EXPECT_FALSE(batches.contains(7));
    EXPECT_FALSE(batches.isReportedSince(other, "a"));
    batches.wasAnswered("a", batches.takeTicket(), true);
    EXPECT_TRUE(batches.isReportedSince(old, "a")) << "work that waited from one session to the next";
}

}  // namespace
}  // namespace xel
