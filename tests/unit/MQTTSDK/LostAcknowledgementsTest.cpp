#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/KeyedHash.h"
#include "XelPushClient/MQTTSDK/LostAcknowledgements.h"

namespace xel {
namespace {

const PublicationHash kHash = hashPublication("t", "one");
const PublicationHash kOther = hashPublication("t", "two");

class LostAcknowledgementsTest : public testing::Test {
protected:
    LostAcknowledgementsTest() { lost_.connectionDidOpen(true); }

    bool isRepeat(std::uint16_t packetId, const PublicationHash& hash = kHash) {
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

TEST(KeyedHash, TellsTopicsAndPayloadsApart) {
    EXPECT_EQ(hashPublication("topic", "payload"), hashPublication("topic", "payload"));
    const auto hash = hashPublication("ab", "c");
    EXPECT_NE(hash, hashPublication("a", "bc"));
    EXPECT_NE(hash, hashPublication("ab", std::string("c\0", 2)));
    EXPECT_NE(hash, hashPublication("c", "ab"));
    EXPECT_NE(hashPublication("", ""), hashPublication("", std::string(1, '\0')));
    for (std::size_t size = 1; size <= 100; ++size) {
        const std::string text(size, 'x');
        const auto ofText = hashPublication("t", text);
        EXPECT_NE(ofText, hashPublication("t", text + "x"));
        for (std::size_t i = 0; i < size; ++i) {
            std::string changed = text;
            changed[i] = 'y';
            const auto ofChanged = hashPublication("t", changed);
            EXPECT_NE(ofText.low, ofChanged.low) << size << " " << i;
            EXPECT_NE(ofText.high, ofChanged.high) << size << " " << i;
        }
    }
    EXPECT_NE(hashPublication("t", "0123456789abcdef"), hashPublication("t", "89abcdef01234567"));
}

TEST(KeyedHash, MultipliesAlikeOnEveryProcessor) {
    const std::uint64_t factors[] = {
        0, 1, 0xFFFFFFFF, 0x100000000, 0xFFFFFFFFFFFFFFFF, 0x123456789ABCDEF0, 0xDEADBEEFCAFEBABE};
    for (const std::uint64_t a : factors) {
        for (const std::uint64_t b : factors) {
            EXPECT_EQ(foldedProduct(a, b), foldedProductByHalves(a, b)) << a << " * " << b;
        }
    }
    EXPECT_EQ(foldedProductByHalves(0xFFFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF), 0xFFFFFFFFFFFFFFFF);
}

}  // namespace
}  // namespace xel
