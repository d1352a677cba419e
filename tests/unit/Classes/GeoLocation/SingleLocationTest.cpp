#include "tests/unit/Classes/GeoLocation/GeoLocationTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class SingleLocationTest : public GeoLocationTest {
protected:
    void request() {
        location_->requestSingleLocation([this](const Result<CLLocation>& location) {
            answers_.push_back(location ? formatted("%.1f m", location.value().horizontalAccuracy)
                                        : formatted("error %d", location.error().code));
            if (!location) {
                lastError_ = location.error();
            }
        });
    }

    std::vector<std::string> answers_;
    NSError lastError_;
};

TEST_F(SingleLocationTest, AnswersAGoodFixAtOnceAndLetsTheSourceGo) {
    machine_.locationSource->standAt(kCenter, 100.0);
    request();
    EXPECT_THAT(answers_, IsEmpty()) << "never inside the request";
    EXPECT_EQ(running(), 1U);
    machine_.runUntilIdle();
    EXPECT_THAT(answers_, ElementsAre("100.0 m"));
    EXPECT_EQ(running(), 0U);
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U);
}

TEST_F(SingleLocationTest, WaitsForABetterFixThenTakesTheBest) {
    machine_.locationSource->play(readTrack("0 10 20 1500\n5 10 20 101\n10 10 20 700"));
    request();
    machine_.advanceBy(29999ms);
    EXPECT_THAT(answers_, IsEmpty());
    machine_.advanceBy(1ms);
    EXPECT_THAT(answers_, ElementsAre("101.0 m"));
    EXPECT_EQ(running(), 0U);
}

TEST_F(SingleLocationTest, AnswersAsSoonAsTheFixIsGood) {
    machine_.locationSource->play(readTrack("0 10 20 1500\n12 10 20 20"));
    request();
    machine_.advanceBy(12s);
    EXPECT_THAT(answers_, ElementsAre("20.0 m"));
}

TEST_F(SingleLocationTest, FailsWhenNothingComesInTime) {
    request();
    machine_.advanceBy(30s);
    EXPECT_THAT(answers_, ElementsAre("error 3"));
    EXPECT_EQ(lastError_.domain, kLocationErrorDomain);
    EXPECT_EQ(lastError_.localizedDescription(), "no position that is known to within 2000 m came in 30 s");
    EXPECT_EQ(running(), 0U);
}

TEST_F(SingleLocationTest, FailsWhenNothingOfUseComesInTime) {
    request();
    machine_.runUntilIdle();
    const Date now = machine_.clock->now();
    auto& source = *machine_.locationSource;
    source.report({kCenter, 2001.0, -1.0, now});
    source.report({kCenter, -1.0, -1.0, now});
    source.report({kCenter, 0.0, -1.0, now});
    source.report({kCenter, 5.0, -1.0, now - 61s});
    source.report({{0.0, 181.0}, 5.0, -1.0, now});
    machine_.advanceBy(30s);
    EXPECT_THAT(answers_, ElementsAre("error 3"));
}

TEST_F(SingleLocationTest, FailsWithTheSource) {
    machine_.locationSource->fail(makeLocationError(LocationErrorCode::Denied, "not for you"));
    request();
    machine_.runUntilIdle();
    EXPECT_THAT(answers_, ElementsAre("error 2"));
    EXPECT_EQ(lastError_.localizedDescription(), "not for you");
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U) << "nobody wants it tried again";
}

TEST_F(SingleLocationTest, GivesEachRequestItsOwnTime) {
    request();
    machine_.advanceBy(20s);
    request();
    machine_.advanceBy(10s);
    EXPECT_THAT(answers_, ElementsAre("error 3"));
    EXPECT_EQ(running(), 1U);
    machine_.locationSource->standAt(kCenter, 5.0);
    machine_.runUntilIdle();
    EXPECT_THAT(answers_, ElementsAre("error 3", "5.0 m"));
    EXPECT_EQ(running(), 0U);
}

TEST_F(SingleLocationTest, MayAskAgainOrEndTheRoomInsideTheAnswer) {
    machine_.locationSource->standAt(kCenter, 5.0);
    location_->requestSingleLocation([this](const auto&) { request(); });
    machine_.runUntilIdle();
    EXPECT_THAT(answers_, ElementsAre("5.0 m"));
    location_->requestSingleLocation([this](const auto&) { endClient(); });
    request();
    machine_.runUntilIdle();
    EXPECT_THAT(answers_, ElementsAre("5.0 m")) << "the second went with the room";
    machine_.advanceBy(1h);
}

TEST_F(SingleLocationTest, DoesWithoutACompletion) {
    machine_.locationSource->standAt(kCenter, 5.0);
    location_->requestSingleLocation(nullptr);
    machine_.runUntilIdle();
    EXPECT_EQ(running(), 0U);
}

}  // namespace
}  // namespace xel
