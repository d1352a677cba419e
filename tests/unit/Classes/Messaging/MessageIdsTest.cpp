#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;

class MessageIdsTest : public RoomsTest {
protected:
    bool store(std::string_view id) { return rooms_->messageIds.storeMessageId(id); }
    void storeRange(int first, int last) {
        for (int i = first; i <= last; ++i) {
            EXPECT_FALSE(store("m" + std::to_string(i))) << i;
        }
    }
    /// Closes the turn; whether it was acknowledged inside the call.
    bool close() {
        const auto isAcknowledged = std::make_shared<bool>(false);
        rooms_->messageIds.closeTurn([isAcknowledged] { *isAcknowledged = true; });
        return *isAcknowledged;
    }
    std::vector<std::string> committed() const {
        std::vector<std::string> ids;
        const auto value = onDisk("messageIds");
        if (value && value->asArray() != nullptr) {
            for (const auto& id : *value->asArray()) {
                ids.push_back(*id.asString());
            }
        }
        return ids;
    }
};

TEST_F(MessageIdsTest, TellARepeatedIdAndAppendItAgain) {
    EXPECT_FALSE(store("m1"));
    EXPECT_FALSE(store("m2"));
    EXPECT_TRUE(store("m1"));
    EXPECT_THAT(committed(), ElementsAre("m1", "m2", "m1"));
}

TEST_F(MessageIdsTest, ForgetTheOldestOfTwentyFive) {
    storeRange(1, 26);
    EXPECT_EQ(committed().size(), 25U);
    EXPECT_EQ(firstOf(committed()), "m2");
    EXPECT_EQ(lastOf(committed()), "m26");
    EXPECT_FALSE(store("m1"));
}

TEST_F(MessageIdsTest, ForgetTheOldestBeforeTheNewOneIsCompared) {
    storeRange(1, 25);
    EXPECT_FALSE(store("m1")) << "it was the oldest of a full list";
    EXPECT_TRUE(store("m3"));
}

TEST_F(MessageIdsTest, KnowARepeatWhoseIdHasLeftTheList) {
    storeRange(1, 26);
    EXPECT_TRUE(rooms_->messageIds.storeMessageId("m1", Arrival::Repeat));
    EXPECT_EQ(lastOf(committed()), "m1") << "it is remembered as ever";
    EXPECT_TRUE(rooms_->messageIds.storeMessageId("m3", Arrival::Repeat)) << "the oldest of a full list";
    EXPECT_EQ(committed().size(), 25U);
}

TEST_F(MessageIdsTest, KnowTheOldestOfAListThatIsNotFull) {
    storeRange(1, 24);
    EXPECT_TRUE(store("m1"));
}

TEST_F(MessageIdsTest, SurviveARestart) {
    home_.defaults->setObject("messageIds", Array{Value("m1"), Value(7), Value("m2")});
    EXPECT_TRUE(store("m2"));
    EXPECT_THAT(committed(), ElementsAre("m1", "m2", "m2"));
}

TEST_F(MessageIdsTest, PutAStoredListRightThatHoldsMoreThanIds) {
    Array stored{Value(7), Value("m1"), Value(Array{})};
    for (int i = 2; i <= 27; ++i) {
        stored.emplace_back("m" + std::to_string(i));
    }
    home_.defaults->setObject("messageIds", stored);
    EXPECT_FALSE(store("m3")) << "the oldest of the last 25";
    EXPECT_EQ(committed().size(), 25U);
    EXPECT_EQ(firstOf(committed()), "m4");
    EXPECT_EQ(lastOf(committed()), "m3");
}

TEST_F(MessageIdsTest, ForgetAnArrivalThatIsCommittedAlready) {
    store("m1");
    rooms_->messageIds.beginArrival();
    store("m2");
    rooms_->messageIds.forgetArrival();
    store("m3");
    EXPECT_THAT(committed(), ElementsAre("m1", "m3"));
    EXPECT_FALSE(store("m2"));
}

TEST_F(MessageIdsTest, ForgetAnArrivalOfATurnBeforeItIsCommitted) {
    rooms_->messageIds.beginTurn();
    for (const auto* id : {"m1", "m2", "m3"}) {
        rooms_->messageIds.beginArrival();
        store(id);
        if (id == std::string("m2")) {
            rooms_->messageIds.forgetArrival();
        }
    }
    EXPECT_TRUE(close());
    EXPECT_THAT(committed(), ElementsAre("m1", "m3"));
}

TEST_F(MessageIdsTest, CommitTheLastTwentyFiveOfALongTurn) {
    store("m0");
    rooms_->messageIds.beginTurn();
    storeRange(1, 40);
    EXPECT_TRUE(close());
    EXPECT_EQ(committed().size(), 25U);
    EXPECT_EQ(firstOf(committed()), "m16");
    EXPECT_EQ(lastOf(committed()), "m40");
}

TEST_F(MessageIdsTest, CommitATurnOnceAndBeforeItIsAcknowledged) {
    rooms_->messageIds.beginTurn();
    store("m1");
    store("m2");
    EXPECT_TRUE(store("m1")) << "the turn's own ids are known";
    EXPECT_THAT(committed(), ElementsAre());
    const auto commits = machine_.disk->commitCount();
    std::vector<std::string> atAcknowledgement;
    rooms_->messageIds.closeTurn([&] { atAcknowledgement = committed(); });
    EXPECT_THAT(atAcknowledgement, ElementsAre("m1", "m2", "m1"));
    EXPECT_EQ(machine_.disk->commitCount(), commits + 1);
}

TEST_F(MessageIdsTest, StayOutOfOtherCommitsInsideATurn) {
    rooms_->messageIds.beginTurn();
    store("m1");
    rooms_->settings.setUserId("alice01");
    EXPECT_EQ(onDisk("userId"), Value("alice01"));
    EXPECT_THAT(committed(), ElementsAre());
}

TEST_F(MessageIdsTest, CommitNothingForATurnWithoutIds) {
    const auto commits = machine_.disk->commitCount();
    rooms_->messageIds.beginTurn();
    EXPECT_TRUE(close());
    EXPECT_EQ(machine_.disk->commitCount(), commits);
}

TEST_F(MessageIdsTest, AcknowledgeATurnThatCouldNotBeCommittedAndTryAgain) {
    switchLogOn();
    machine_.disk->setFailingCommits(true);
    rooms_->messageIds.beginTurn();
    store("m1");
    EXPECT_TRUE(close());
    ASSERT_TRUE(rooms_->lastFailure.error());
    EXPECT_EQ(rooms_->lastFailure.error()->domain, "PushClientStoreErrorDomain");
    EXPECT_EQ(takeLog().size(), 1U);
    EXPECT_TRUE(store("m1")) << "kept in memory";
    machine_.disk->setFailingCommits(false);
    rooms_->messageIds.beginTurn();
    EXPECT_TRUE(close());
    EXPECT_THAT(committed(), ElementsAre("m1", "m1"));
}

TEST_F(MessageIdsTest, WaitForACommitThatIsMadeAwayFromTheLoop) {
    machine_.disk->setHoldingTurnCommits(true);
    rooms_->messageIds.beginTurn();
    store("m1");
    bool isAcknowledged = false;
    rooms_->messageIds.closeTurn([&] { isAcknowledged = true; });
    EXPECT_FALSE(isAcknowledged);
    machine_.disk->answerHeldTurnCommits();
    EXPECT_TRUE(isAcknowledged);
    EXPECT_THAT(committed(), ElementsAre("m1"));
}

TEST_F(MessageIdsTest, ForgetAllOfThemAlsoInsideATurn) {
    store("m1");
    rooms_->messageIds.beginTurn();
    store("m2");
    home_.defaults->removeObject("messageIds");
    rooms_->messageIds.forgetIdentity();
    EXPECT_TRUE(close());
    EXPECT_FALSE(home_.defaults->objectForKey("messageIds"));
    EXPECT_FALSE(store("m1"));
    EXPECT_FALSE(store("m2"));
}

TEST_F(MessageIdsTest, StoreNothingThatWasForgottenWhileItsCommitFailed) {
    machine_.disk->setHoldingTurnCommits(true);
    rooms_->messageIds.beginTurn();
    store("m1");
    rooms_->messageIds.closeTurn([] {});
    rooms_->messageIds.forgetIdentity();
    home_.defaults->removeObject("messageIds");
    machine_.disk->setFailingCommits(true);
    machine_.disk->answerHeldTurnCommits();
    machine_.disk->setFailingCommits(false);
    machine_.disk->setHoldingTurnCommits(false);
    rooms_->messageIds.beginTurn();
    EXPECT_TRUE(close());
    EXPECT_FALSE(home_.defaults->objectForKey("messageIds"));
}

TEST_F(MessageIdsTest, ReportAFailedCommitOutsideATurn) {
    machine_.disk->setFailingCommits(true);
    EXPECT_FALSE(store("m1"));
    ASSERT_TRUE(rooms_->lastFailure.error());
    EXPECT_EQ(rooms_->lastFailure.error()->domain, "PushClientStoreErrorDomain")
        << "in the client's own domain it would ask the host to register again";
    EXPECT_EQ(rooms_->lastFailure.error()->code, 1);
    machine_.disk->setFailingCommits(false);
    rooms_->messageIds.beginTurn();
    EXPECT_TRUE(close());
    EXPECT_THAT(committed(), ElementsAre("m1"));
}

TEST_F(MessageIdsTest, AcknowledgeATurnWhoseRoomIsGone) {
    machine_.disk->setHoldingTurnCommits(true);
    rooms_->messageIds.beginTurn();
    store("m1");
    bool isAcknowledged = false;
    rooms_->messageIds.closeTurn([&] { isAcknowledged = true; });
    rooms_.reset();
    machine_.disk->setFailingCommits(true);
    machine_.disk->answerHeldTurnCommits();
    EXPECT_TRUE(isAcknowledged);
}

}  // namespace
}  // namespace xel
