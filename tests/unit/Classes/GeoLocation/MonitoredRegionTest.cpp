#include <limits>

#include "XelPushClient/Classes/GeoLocation/MonitoredRegion.h"
#include "XelPushClient/Classes/GeoLocation/UsableFix.h"
#include "tests/unit/Classes/GeoLocation/GeoLocationTest.h"

namespace xel {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class MonitoredRegionTest : public GeoLocationTest {
protected:
    static MonitoredRegion regionOf(double radius, RegionSide side = RegionSide::Unknown) {
        MonitoredRegion region;
        region.region = {kCenter, radius, "g1"};
        region.side = side;
        return region;
    }
    static CLLocation fixAt(double metres, double accuracy) {
        return {metresFromCenter(metres), accuracy, -1.0, Date()};
    }
};

TEST_F(MonitoredRegionTest, DecidesTheSideByDistanceAndAccuracy) {
    using enum RegionSide;
    struct Case {
        const char* what;
        double radius;
        double metres;
        double accuracy;
        RegionSide side;
    };
    const Case cases[] = {
        {"the centre", 200, 0, 5, Inside},
        {"just in", 200, 199.9, 5, Inside},
        {"just out, within 20 m", 200, 200.1, 5, Unknown},
        {"at the end of the margin", 200, 219.9, 5, Unknown},
        {"beyond 20 m", 200, 220.1, 5, Outside},
        {"within a tenth of a large radius", 1000, 1099, 5, Unknown},
        {"beyond a tenth of a large radius", 1000, 1101, 5, Outside},
        {"within the accuracy", 200, 279, 80, Unknown},
        {"beyond the accuracy", 200, 281, 80, Outside},
        {"as accurate as the radius", 200, 0, 200, Inside},
        {"worse than the radius", 200, 0, 200.1, Unknown},
        {"worse than the radius, far away", 200, 5000, 201, Unknown},
        {"of unknown accuracy", 200, 0, -1, Unknown},
        {"of no accuracy", 200, 5000, 0, Unknown},
        {"of an accuracy that is no number", 200, 0, kNaN, Unknown},
    };
    for (const auto& [what, radius, metres, accuracy, side] : cases) {
        auto region = regionOf(radius);
        EXPECT_FALSE(region.moveTo(fixAt(metres, accuracy))) << what << ": the first fix is no crossing";
        EXPECT_EQ(region.side, side) << what;
    }
}

TEST_F(MonitoredRegionTest, IsCrossedFromOneSideToTheOther) {
    auto region = regionOf(200, RegionSide::Outside);
    EXPECT_EQ(region.moveTo(fixAt(100, 5)), RegionCrossing::Entered);
    EXPECT_FALSE(region.moveTo(fixAt(50, 5)));
    EXPECT_FALSE(region.moveTo(fixAt(210, 5))) << "on the border the side stays";
    EXPECT_EQ(region.moveTo(fixAt(300, 5)), RegionCrossing::Left);
    EXPECT_FALSE(region.moveTo(fixAt(210, 5)));
    EXPECT_EQ(region.moveTo(fixAt(190, 5)), RegionCrossing::Entered);
}

TEST_F(MonitoredRegionTest, IsCrossedOnceByPositionsThatJumpAboutOnTheBorder) {
    auto region = regionOf(200, RegionSide::Outside);
    int crossings = 0;
    for (const double metres : {205.0, 199.0, 203.0, 198.0, 215.0, 196.0, 218.0, 201.0, 190.0, 219.0}) {
        crossings += region.moveTo(fixAt(metres, 10)) ? 1 : 0;
    }
    EXPECT_EQ(crossings, 1);
    EXPECT_EQ(region.side, RegionSide::Inside);
}

TEST_F(MonitoredRegionTest, RefusesWhatIsNoRegion) {
    struct Case {
        const char* what;
        CLCircularRegion region;
        Value message;
        bool isTaken;
    };
    const Case cases[] = {
        {"a region", {kCenter, 200, "g1"}, "text", true},
        {"the smallest", {kCenter, 1e-9, "g"}, nullptr, true},
        {"the largest", {kCenter, 10'000'000, std::string(255, 'g')}, nullptr, true},
        {"at a pole", {{-90, 180}, 1, "g1"}, nullptr, true},
        {"without an identifier", {kCenter, 200, ""}, nullptr, false},
        {"with a long identifier", {kCenter, 200, std::string(256, 'g')}, nullptr, false},
        {"beyond the pole", {{90.1, 0}, 200, "g1"}, nullptr, false},
        {"beyond the date line", {{0, -180.1}, 200, "g1"}, nullptr, false},
        {"nowhere", {{kNaN, 0}, 200, "g1"}, nullptr, false},
        {"at infinity", {{0, kInfinity}, 200, "g1"}, nullptr, false},
        {"without a radius", {kCenter, 0, "g1"}, nullptr, false},
        {"inside out", {kCenter, -200, "g1"}, nullptr, false},
        {"of no radius", {kCenter, kNaN, "g1"}, nullptr, false},
        {"too large", {kCenter, 10'000'001, "g1"}, nullptr, false},
        {"endless", {kCenter, kInfinity, "g1"}, nullptr, false},
        {"with the longest message", {kCenter, 200, "g1"}, std::string(4094, 'x'), true},
        {"with too long a message", {kCenter, 200, "g1"}, std::string(4095, 'x'), false},
    };
    for (const auto& [what, circle, message, isTaken] : cases) {
        MonitoredRegion region;
        region.region = circle;
        region.enterMessage = message;
        const auto checked = region.check();
        EXPECT_EQ(checked.isOk(), isTaken) << what;
        std::swap(region.enterMessage, region.exitMessage);
        EXPECT_EQ(region.check().isOk(), isTaken) << what << ", of the other message";
        if (!checked) {
            EXPECT_EQ(checked.error().domain, kLocationErrorDomain);
            EXPECT_EQ(checked.error().code, static_cast<int>(LocationErrorCode::NotValid));
        }
        EXPECT_EQ(MonitoredRegion::fromStored(region.stored()).has_value(), isTaken) << what;
    }
}

TEST_F(MonitoredRegionTest, ExpiresAtItsTimeInMilliseconds) {
    struct Case {
        double expireTs;
        double nowInSeconds;
        bool isExpired;
    };
    const Case cases[] = {
        {1600000000000.0, 1599999999.999, false},
        {1600000000000.0, 1600000000.0, true},
        {1600000000.0, 1599999.0, false},
        {1600000000.0, 1600001.0, true},
        {0.0, 4e9, false},
        {-1.0, 4e9, false},
        {1e300, 4e9, false},
        {kInfinity, 4e9, false},
        {kNaN, 4e9, false},
    };
    for (const auto& [expireTs, now, isExpired] : cases) {
        auto region = regionOf(200);
        region.expireTs = expireTs;
        EXPECT_EQ(region.isExpired(dateFromSecondsSince1970(now)), isExpired) << expireTs << " at " << now;
    }
}

TEST_F(MonitoredRegionTest, ComesBackAsItWasStored) {
    for (const auto side : {RegionSide::Unknown, RegionSide::Inside, RegionSide::Outside}) {
        auto region = regionOf(123.5, side);
        region.expireCount = 3;
        region.expireTs = 1600000000000.5;
        region.enterMessage = Dictionary{{"title", "T"}};
        region.exitMessage = "bye";
        const auto back = MonitoredRegion::fromStored(region.stored());
        ASSERT_TRUE(back);
        EXPECT_EQ(back->region, region.region);
        EXPECT_EQ(back->expireCount, 3);
        EXPECT_EQ(back->expireTs, 1600000000000.5);
        EXPECT_EQ(back->enterMessage, region.enterMessage);
        EXPECT_EQ(back->exitMessage, region.exitMessage);
        EXPECT_EQ(back->side, side);
    }
}

TEST_F(MonitoredRegionTest, IsNothingWhenWhatWasStoredIsDamaged) {
    const Value center = Array{35.7, 51.4};
    const Value damaged[] = {
        Value(),
        Value("g1"),
        Dictionary{},
        Dictionary{{"id", "g1"}, {"r", 200}},
        Dictionary{{"id", "g1"}, {"center", Array{35.7}}, {"r", 200}},
        Dictionary{{"id", "g1"}, {"center", Array{35.7, "east"}}, {"r", 200}},
        Dictionary{{"id", "g1"}, {"center", center}},
        Dictionary{{"id", "g1"}, {"center", center}, {"r", "200"}},
        Dictionary{{"id", 1}, {"center", center}, {"r", 200}},
    };
    for (const auto& stored : damaged) {
        EXPECT_FALSE(MonitoredRegion::fromStored(stored)) << formatted("%@", stored);
    }
    EXPECT_TRUE(MonitoredRegion::fromStored(Dictionary{{"id", "g1"}, {"center", center}, {"r", 200}}));
}

TEST(UsableFix, IsOfThisMomentAndOnTheEarth) {
    const Date now = dateFromSecondsSince1970(1772357400.0);
    struct Case {
        double latitude;
        double longitude;
        double age;
        bool isUsable;
    };
    const Case cases[] = {
        {35.7, 51.4, 0, true},   {35.7, 51.4, 60, true},     {35.7, 51.4, 60.1, false},
        {35.7, 51.4, -60, true}, {35.7, 51.4, -60.1, false}, {91, 51.4, 0, false},
        {35.7, kNaN, 0, false},  {35.7, 51.4, kNaN, false},  {35.7, 51.4, 1772357400.0, false},
    };
    for (const auto& [latitude, longitude, age, isUsable] : cases) {
        const CLLocation fix{{latitude, longitude}, 5.0, -1.0, now - std::chrono::duration<double>(age)};
        EXPECT_EQ(isUsableFix(fix, now), isUsable) << latitude << ", " << longitude << ", " << age << " s";
    }
}

}  // namespace
}  // namespace xel
