#include <cstdint>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/KeyedHash.h"
#include "XelPushClient/MQTTSDK/LostAcknowledgements.h"

namespace xel {
namespace {

const KeyedHash kHash = keyedHashOf("t", "one");
const KeyedHash kOther = keyedHashOf("t", "two");

class LostAcknowledgementsTest : public testing::Test {
protected:
    LostAcknowledgementsTest() { lost_.connectionDidOpen(true); }

    bool isRepeat(std::uint16_t packetId, const KeyedHash& hash = kHash) {
        return lost_.takeArrival(packetId, true, hash);
    }

    LostAcknowledgements lost_;
};

TEST_F(LostAcknowledgementsTest, TellARepeatByFlagIdentifierAndContent) {
    lost_.didAcknowledge(1, kHash, 100);
    lost_.connectionDidOpen(true);
    EXPECT_FALSE(isRepeat(1, kOther));
    EXPECT_FALSE(isRepeat(2));
    EXPECT_TRUE(isRepeat(1));
    EXPECT_TRUE(isRepeat(1)) << "its acknowledgement may be lost again";
    EXPECT_FALSE(lost_.takeArrival(1, false, kHash));
    EXPECT_FALSE(isRepeat(1)) << "the broker has used the identifier anew";
}

TEST_F(LostAcknowledgementsTest, AreForgottenOnceTheBrokerAnswersWhatWasWrittenBehind) {
    lost_.didAcknowledge(1, kHash, 100);
    lost_.didAcknowledge(2, kHash, 200);
    lost_.didReceiveAnswerTo(150);
    EXPECT_EQ(lost_.count(), 1U);
    lost_.connectionDidOpen(true);
    EXPECT_FALSE(isRepeat(1));
    EXPECT_TRUE(isRepeat(2));
}

TEST_F(LostAcknowledgementsTest, AreNotForgottenForAnAnswerOnALaterConnection) {
    lost_.didAcknowledge(1, kHash, 100);
    lost_.connectionDidOpen(true);
    lost_.didReceiveAnswerTo(500);
    EXPECT_TRUE(isRepeat(1));
}

TEST_F(LostAcknowledgementsTest, OfEarlierConnectionsAreForgottenAtTheFirstNewPublication) {
    lost_.didAcknowledge(1, kHash, 100);
    lost_.didAcknowledge(2, kHash, 100);
    lost_.connectionDidOpen(true);
    lost_.didAcknowledge(3, kHash, 10);
    EXPECT_FALSE(lost_.takeArrival(9, false, kOther));
    EXPECT_FALSE(isRepeat(1));
    EXPECT_FALSE(isRepeat(2));
    EXPECT_TRUE(isRepeat(3)) << "of this connection";
}

TEST_F(LostAcknowledgementsTest, OfAnIdentifierThatWasUsedAgainAreThoseOfItsLastUse) {
    lost_.didAcknowledge(1, kHash, 10);
    lost_.didAcknowledge(1, kOther, 20);
    lost_.didReceiveAnswerTo(15);
    EXPECT_TRUE(isRepeat(1, kOther)) << "the first is known to have arrived, not the second";
    lost_.didReceiveAnswerTo(25);
    EXPECT_FALSE(isRepeat(1, kOther));
}

TEST_F(LostAcknowledgementsTest, OfAnIdentifierThatCarriesSomethingNewAreForgottenOnce) {
    lost_.didAcknowledge(1, kHash, 10);
    lost_.didAcknowledge(2, kHash, 20);
    EXPECT_FALSE(lost_.takeArrival(1, false, kOther));
    lost_.didReceiveAnswerTo(15);
    EXPECT_FALSE(isRepeat(1));
    EXPECT_TRUE(isRepeat(2));
    EXPECT_FALSE(lost_.takeArrival(2, false, kOther));
    for (std::uint16_t packetId = 3; packetId <= 4'200; ++packetId) {
        lost_.didAcknowledge(packetId, kHash, 20);
    }
    EXPECT_TRUE(isRepeat(4'200)) << "the oldest had gone already";
}

TEST_F(LostAcknowledgementsTest, TellNoRepeatOnASessionThatWasNotKept) {
    lost_.connectionDidOpen(false);
    lost_.didAcknowledge(1, kHash, 100);
    EXPECT_FALSE(isRepeat(1));
}

TEST_F(LostAcknowledgementsTest, AreForgottenWithTheSession) {
    lost_.didAcknowledge(1, kHash, 100);
    lost_.connectionDidOpen(false);
    EXPECT_FALSE(isRepeat(1));
    EXPECT_EQ(lost_.count(), 0U);
}

TEST_F(LostAcknowledgementsTest, CountAlsoWhenTheyCouldNotBeWritten) {
    lost_.didAcknowledge(1, kHash, LostAcknowledgements::kNeverWritten);
    lost_.didReceiveAnswerTo(1'000'000);
    lost_.connectionDidOpen(true);
    EXPECT_TRUE(isRepeat(1));
}

TEST_F(LostAcknowledgementsTest, AreRememberedForTheNewest4096) {
    for (std::uint16_t packetId = 1; packetId <= 5000; ++packetId) {
        lost_.didAcknowledge(packetId, kHash, packetId);
    }
    EXPECT_EQ(lost_.count(), 4096U);
    lost_.connectionDidOpen(true);
    EXPECT_FALSE(isRepeat(904));
    EXPECT_TRUE(isRepeat(905));
    EXPECT_TRUE(isRepeat(5000));
}

TEST_F(LostAcknowledgementsTest, OutlastOthersThatComeAgainOnEveryConnection) {
    lost_.didAcknowledge(25, kOther, LostAcknowledgements::kNeverWritten);
    for (std::size_t connection = 0; connection < LostAcknowledgements::kMostRemembered / 10; ++connection) {
        lost_.connectionDidOpen(true);
        for (std::uint16_t packetId = 1; packetId <= 24; ++packetId) {
            EXPECT_EQ(isRepeat(packetId), connection != 0);
            lost_.didAcknowledge(packetId, kHash, LostAcknowledgements::kNeverWritten);
        }
    }
    EXPECT_TRUE(isRepeat(25, kOther));
}

}  // namespace
}  // namespace xel
