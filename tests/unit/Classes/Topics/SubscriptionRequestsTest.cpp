#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// What is asked for, without anybody who asks or answers.
class SubscriptionRequestsTest : public RoomsTest {
protected:
    SubscriptionRequests& room() { return rooms_->subscriptionRequests; }
};

TEST_F(SubscriptionRequestsTest, AddToTheTableThatWaitingWorkHolds) {
    EXPECT_FALSE(room().goingToTopics());
    room().addToGoingToTopics("a", 1);
    const auto held = room().goingToTopics();
    room().addToGoingToTopics("b", 0);
    EXPECT_EQ(*held, (TopicTable{{"a", 1}, {"b", 0}}));
    room().replaceGoingToTopics({{"c", 1}});
    EXPECT_EQ(held->size(), 2U) << "another batch has a table of its own";
}

TEST_F(SubscriptionRequestsTest, AreAnsweredByIdentifierAndElseTheNewest) {
    room().addToGoingToTopics("new", 1);
    room().batches().wasWritten(7, {{"old"}, room().batches().takeTicket()});
    EXPECT_THAT(room().takeAnsweredBatch(7).filters, ElementsAre("old"));
    EXPECT_TRUE(room().goingToTopics()->empty()) << "any answer empties it";
    room().addToGoingToTopics("newer", 1);
    EXPECT_THAT(room().takeAnsweredBatch(7).filters, ElementsAre("newer"));
    room().forgetIdentity();
    EXPECT_THAT(room().takeAnsweredBatch(8).filters, IsEmpty());
}

TEST_F(SubscriptionRequestsTest, OfAnEventTakeTheIdentifierOfALostBatch) {
    room().batches().wasWritten(7, {{"old"}, room().batches().takeTicket()});
    room().addToSubscriberMsgIds(7, "event");
    EXPECT_FALSE(room().batches().contains(7));
    EXPECT_THAT(room().subscribeMsgIds(), ElementsAre(Pair(7, "event")));
}

TEST_F(SubscriptionRequestsTest, AreForgottenWithTheSession) {
    room().forgetThoseOfFormerSession();
    room().addToSubscriberMsgIds(1, "a");
    room().addToUnsubscriberMsgIds(2, "b");
    room().wasGivenUp("c");
    room().batches().wasWritten(3, {{"d"}, room().batches().takeTicket()});
    room().forgetThoseOfFormerSession();
    EXPECT_EQ(room().subscribeMsgIds().size(), 1U) << "it is the same session still";
    rooms_->session.drop();
    room().forgetThoseOfFormerSession();
    EXPECT_THAT(room().subscribeMsgIds(), IsEmpty());
    EXPECT_THAT(room().unSubscribeMsgIds(), IsEmpty());
    EXPECT_THAT(room().givenUp(), IsEmpty());
    EXPECT_EQ(room().batches().countUnanswered(), 0U);
}

TEST_F(SubscriptionRequestsTest, LoseATopicThatIsGivenUp) {
    room().addToGoingToTopics("a", 1);
    room().addToGoingToTopics("b", 1);
    const auto ticket = room().batches().takeTicket();
    room().wasGivenUp("a");
    EXPECT_EQ(*room().goingToTopics(), (TopicTable{{"b", 1}}));
    EXPECT_THAT(room().givenUp(), ElementsAre("a"));
    const auto wanted = std::make_shared<TopicTable>(TopicTable{{"a", 1}, {"b", 1}});
    EXPECT_EQ(room().batches().stillWanted(wanted, ticket)->size(), 1U);
}

}  // namespace
}  // namespace xel
