#include <chrono>
#include <optional>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/Suspects.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

constexpr Suspects::TimePoint kBeginning{1000s};
const SentThing kBad = SentThing::publication(7);
const SentThing kGood = SentThing::publication(8);
const SentThing kFilter = SentThing::subscription("a");

bool everything(const SentThing&) {
    return true;
}

class SuspectsTest : public testing::Test {
protected:
    void setAside(const SentThing& thing) {
        EXPECT_EQ(suspects_.connectionWasEnded(thing, kBeginning), std::nullopt);
        EXPECT_EQ(suspects_.connectionWasEnded(thing, kBeginning), std::nullopt);
        EXPECT_EQ(suspects_.connectionWasEnded(thing, kBeginning), thing);
        EXPECT_TRUE(suspects_.isSetAside(thing));
    }

    Suspects::TimePoint dueAt() { return suspects_.nextTry(everything).value().dueAt; }

    Suspects suspects_{MQTTSessionOptions{}};
};

TEST_F(SuspectsTest, CallForOneAtATimeFromTheSecondEndInARow) {
    EXPECT_FALSE(suspects_.callForOneAtATime());
    static_cast<void>(suspects_.connectionWasEnded(std::nullopt, kBeginning));
    EXPECT_FALSE(suspects_.callForOneAtATime());
    static_cast<void>(suspects_.connectionWasEnded(kBad, kBeginning));
    EXPECT_TRUE(suspects_.callForOneAtATime());
    suspects_.didAnswerEverything();
    EXPECT_FALSE(suspects_.callForOneAtATime());
}

TEST_F(SuspectsTest, AreSetAsideAtTheThirdEndInARowThatFoundThemAlone) {
    setAside(kBad);
    EXPECT_FALSE(suspects_.isSetAside(kGood));
    EXPECT_EQ(dueAt(), kBeginning + 1min);
}

TEST_F(SuspectsTest, AreNotSetAsideWhenSomethingElseWasAloneBetween) {
    static_cast<void>(suspects_.connectionWasEnded(kBad, kBeginning));
    static_cast<void>(suspects_.connectionWasEnded(kBad, kBeginning));
    static_cast<void>(suspects_.connectionWasEnded(std::nullopt, kBeginning));
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt);
    static_cast<void>(suspects_.connectionWasEnded(kGood, kBeginning));
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt);
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt);
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), kBad);
}

TEST_F(SuspectsTest, AreNotSetAsideOnceAnswered) {
    static_cast<void>(suspects_.connectionWasEnded(kBad, kBeginning));
    static_cast<void>(suspects_.connectionWasEnded(kBad, kBeginning));
    suspects_.didAnswer(kBad);
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt);
}

TEST_F(SuspectsTest, AreTriedEverMoreSeldomUpToAnHour) {
    setAside(kBad);
    auto now = kBeginning;
    for (const auto wait : {1min, 2min, 4min, 8min, 16min, 32min, 60min, 60min}) {
        EXPECT_EQ(dueAt(), now + wait);
        now = dueAt();
        EXPECT_EQ(suspects_.connectionWasEnded(kBad, now), std::nullopt) << "nobody else was acknowledged";
    }
}

TEST_F(SuspectsTest, AreGivenUpAfterFiveTriesWhileOthersWereAcknowledged) {
    setAside(kBad);
    for (int i = 0; i < 4; ++i) {
        suspects_.didAnswer(kGood);
        EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt) << i;
    }
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt) << "no other since the last try";
    suspects_.didAnswer(kGood);
    EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), kBad);
    EXPECT_FALSE(suspects_.isSetAside(kBad)) << "given up, not set aside";
}

TEST_F(SuspectsTest, AreNotGivenUpForAnswersToAnotherKind) {
    setAside(kBad);
    for (int i = 0; i < 10; ++i) {
        suspects_.didAnswer(kFilter);
        EXPECT_EQ(suspects_.connectionWasEnded(kBad, kBeginning), std::nullopt)
            << "a broker whose disk is full still grants topics";
    }
}

TEST_F(SuspectsTest, LeaveTheRowOfEndsAloneWhenTheyAreTried) {
    setAside(kBad);
    suspects_.didAnswerEverything();
    for (int i = 0; i < 3; ++i) {
        static_cast<void>(suspects_.connectionWasEnded(kBad, kBeginning));
    }
    EXPECT_FALSE(suspects_.callForOneAtATime());
}

TEST_F(SuspectsTest, AreTriedInTheOrderInWhichTheyAreDueIfTheyCanBe) {
    setAside(kFilter);
    suspects_.didAnswerEverything();
    static_cast<void>(suspects_.connectionWasEnded(kFilter, kBeginning));
    setAside(kBad);
    EXPECT_EQ(suspects_.nextTry(everything).value().thing, kBad);
    const auto onlyFilters = [](const SentThing& thing) { return thing == kFilter; };
    EXPECT_EQ(suspects_.nextTry(onlyFilters).value().dueAt, kBeginning + 2min);
    suspects_.didAnswer(kBad);
    suspects_.didAnswer(kFilter);
    EXPECT_FALSE(suspects_.nextTry(everything).has_value());
}

}  // namespace
}  // namespace xel
