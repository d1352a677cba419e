#include "XelPushClient/Platform/UIApplicationLaunchOptions.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class LocationReportsTest : public RoomsTest {
protected:
    static constexpr std::string_view kTopic = "app/a1b2c3/event/geo/D3V1CE";

    LocationReportsTest() {
        connect();
        session_ = lastOf(sessions_->made);
        machine_.locationSource->standAt({35.7, 51.4});
        switchLogOn();
        (void)takeLog();
    }

    bool launch(const Dictionary& options = {}) {
        return rooms_->locationReports.applicationDidFinishLaunchingWithOptions(*machine_.application,
                                                                                options);
    }
    /// The data of the events published since the last time, without what publishing adds.
    std::vector<std::string> takeEvents() {
        std::vector<std::string> events;
        for (const auto& publication : std::exchange(session_->publications, {})) {
            EXPECT_EQ(publication.topic, kTopic);
            auto payload = machine_.json->JSONObjectWithData(publication.payload).value();
            EXPECT_TRUE(payload.asDictionary()->remove("id") && payload.asDictionary()->remove("createdAt"));
            events.push_back(
                formatted("%@ qos %d%s", payload, publication.qos, publication.retain ? " retained" : ""));
        }
        return events;
    }
    std::string eventHere(std::string_view more = "") {
        return formatted(R"({"lat":35.7,"lng":51.4,"ts":%.0f%@} qos 1)",
                         millisecondsSince1970(machine_.clock->now()), more);
    }
    void storeSession(double secondsFromNow, double metres) {
        home_.defaults->setObject("trackUserUntil",
                                  secondsSinceReferenceDate(machine_.clock->now()) + secondsFromNow);
        home_.defaults->setObject("trackUserMeter", metres);
    }

    std::shared_ptr<ScriptedSession> session_;
};

TEST_F(LocationReportsTest, PublishesALocationInEveryForm) {
    const CLLocation fix{{-33.5, 151.25}, 5.0, 1.5, dateFromMillisecondsSince1970(1514800000000.5)};
    const Dictionary data{{"reason", "asked"}};
    struct Case {
        PublishLocationOptions options;
        std::string event;
    };
    const std::string begin = R"({"lat":-33.5,"lng":151.25,"ts":1514800000000.5)";
    const std::vector<Case> cases = {
        {{}, begin + "} qos 1"},
        {{.stateful = true}, begin + "} qos 1 retained"},
        {{.live = true, .stateful = true}, begin + "} qos 0 retained"},
        {{.data = data}, begin + R"(,"data":{"reason":"asked"}} qos 1)"},
        {{.data = data, .live = true}, begin + R"(,"data":{"reason":"asked"}} qos 0)"},
        {{.data = Dictionary(), .live = true, .stateful = true}, begin + R"(,"data":{}} qos 0 retained)"},
    };
    for (const auto& [options, event] : cases) {
        rooms_->locationReports.publishLocation(fix, options);
        EXPECT_THAT(takeEvents(), ElementsAre(event));
    }
}

TEST_F(LocationReportsTest, LogsWhatItPublishes) {
    rooms_->locationReports.publishLocation(CLLocation{{1.5, 2.5}, 5.0, -1.0, dateFromSecondsSince1970(2)});
    EXPECT_EQ(firstOf(takeLog()), R"(Publishing location event {"lat":1.5,"lng":2.5,"ts":2000})");
}

TEST_F(LocationReportsTest, LogsAMissingLocationAndPublishesNothing) {
    rooms_->locationReports.publishLocation(std::nullopt, {.live = true});
    EXPECT_THAT(takeLog(), ElementsAre("## location was nil, Could not send nil location"));
    EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST_F(LocationReportsTest, ReportsTheLaunchLocationOnceItIsSwitchedOn) {
    rooms_->locationReports.setEnableLocationOnLaunch(false);
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), IsEmpty());
    rooms_->locationReports.setEnableLocationOnLaunch(true);
    EXPECT_EQ(onDisk("enableLocationOnLanuch"), Value(true));
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), ElementsAre(eventHere()));
    rooms_->locationReports.setEnableLocationOnLaunch(true);
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), IsEmpty()) << "it was on";
}

TEST_F(LocationReportsTest, ReportsTheLaunchLocationWithItsDictionary) {
    rooms_->settings.setEnableLocationOnLaunch(true);
    rooms_->settings.setLocationOnLaunchWithDictionary(Dictionary{{"from", "launch"}});
    EXPECT_FALSE(launch());
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), ElementsAre(eventHere(R"(,"data":{"from":"launch"})")));
    EXPECT_EQ(machine_.locationSource->runningCount(), 0U);
}

TEST_F(LocationReportsTest, LogsALaunchLocationThatFails) {
    rooms_->settings.setEnableLocationOnLaunch(true);
    machine_.locationSource->fail(makeLocationError(LocationErrorCode::NoService, "no service"));
    launch();
    machine_.runUntilIdle();
    EXPECT_EQ(lastOf(takeLog()), formatted("## send location by enableLocationOnLanuch errored: %@",
                                           makeLocationError(LocationErrorCode::NoService, "no service")));
    machine_.locationSource->work();
    machine_.advanceBy(1h);
    EXPECT_THAT(takeEvents(), IsEmpty()) << "nothing is tried again";
}

TEST_F(LocationReportsTest, CountsALaunchOfTheUsers) {
    EXPECT_FALSE(launch());
    EXPECT_EQ(rooms_->settings.getLaunchCount(), 1);
    EXPECT_TRUE(rooms_->settings.launchedByUser());
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), IsEmpty()) << "the launch location is off";
    EXPECT_THAT(machine_.locationSource->startedFilters(), IsEmpty());
}

TEST_F(LocationReportsTest, TellsALaunchByANotification) {
    EXPECT_TRUE(launch({{std::string(UIApplicationLaunchOptionsRemoteNotificationKey),
                         Dictionary{{"aps", Dictionary{{"alert", "hello"}}}}}}));
    EXPECT_THAT(takeLog(), ElementsAre("$$$$$$$$$$$$$$$ didFinishLaunchingWithOptions New Notification "
                                       R"({"aps":{"alert":"hello"}})"));
    EXPECT_EQ(rooms_->settings.getLaunchCount(), 1);
}

TEST_F(LocationReportsTest, DoesNotCountALaunchForALocationEvent) {
    rooms_->settings.setEnableLocationOnLaunch(true);
    storeSession(3600, 10);
    EXPECT_FALSE(launch({{std::string(UIApplicationLaunchOptionsLocationKey), true}}));
    EXPECT_FALSE(rooms_->settings.getLaunchCount());
    EXPECT_FALSE(rooms_->settings.launchedByUser());
    EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kTracking) << "tracking is resumed";
    rooms_->location.stopTracking();
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), IsEmpty()) << "no launch location";
    rooms_->record.save(nullptr, nullptr);
    EXPECT_THAT(lastOf(machine_.http->requests()).body, testing::HasSubstr(R"("applicationLaunch":false)"));
}

TEST_F(LocationReportsTest, ReportsNoLaunchLocationWhileItTracks) {
    rooms_->settings.setEnableLocationOnLaunch(true);
    storeSession(3600, 10);
    launch();
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), ElementsAre(eventHere())) << "the session's own";
    EXPECT_THAT(machine_.locationSource->startedFilters(), ElementsAre(5.0));
}

TEST_F(LocationReportsTest, ReportsTheLaunchLocationAfterASession) {
    rooms_->settings.setEnableLocationOnLaunch(true);
    storeSession(-1, 10);
    launch();
    machine_.runUntilIdle();
    EXPECT_THAT(takeEvents(), ElementsAre(eventHere()));
    EXPECT_THAT(machine_.locationSource->startedFilters(), ElementsAre(0.0));
}

TEST_F(LocationReportsTest, ResumesTheSessionForTheRestOfItsTime) {
    storeSession(3600, 25);
    rooms_->locationReports.startLocationIfTrackingMe();
    EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kTracking);
    EXPECT_THAT(machine_.locationSource->startedFilters(), ElementsAre(12.5));
    EXPECT_NEAR(
        home_.defaults->doubleForKey("trackUserUntil") - secondsSinceReferenceDate(machine_.clock->now()),
        3600.0, 1e-3);
    machine_.advanceBy(3599s);
    EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kTracking);
    machine_.advanceBy(2s);
    EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kExpired);
}

TEST_F(LocationReportsTest, StopsASessionWhoseTimeIsOverAndLeavesOthersAlone) {
    struct Case {
        double until;  ///< seconds from now
        bool isStopped;
    };
    for (const auto& [until, isStopped] : {Case{-3600, true}, Case{0, true}}) {
        storeSession(until, 10);
        rooms_->locationReports.startLocationIfTrackingMe();
        EXPECT_EQ(!home_.defaults->objectForKey("trackUserUntil"), isStopped) << until;
        EXPECT_EQ(!home_.defaults->objectForKey("trackUserMeter"), isStopped) << until;
    }
    for (const Value& until : {Value(0.0), Value(-5.0), Value("soon")}) {
        home_.defaults->setObject("trackUserUntil", until);
        rooms_->locationReports.startLocationIfTrackingMe();
        EXPECT_EQ(home_.defaults->objectForKey("trackUserUntil"), until);
        EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kStopped);
    }
    EXPECT_THAT(machine_.locationSource->startedFilters(), IsEmpty());
}

TEST_F(LocationReportsTest, DoesNotResumeASessionThatCannotBe) {
    storeSession(3600, -1);
    rooms_->locationReports.startLocationIfTrackingMe();
    EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kStopped);
    EXPECT_THAT(
        takeLog(),
        ElementsAre(testing::StartsWith("tracking is not resumed: Error Domain=LocationErrorDomain Code=4")));
}

TEST_F(LocationReportsTest, PublishesTrackedPositions) {
    ASSERT_TRUE(rooms_->location.trackMeUntil(60.0, 100.0));
    machine_.runUntilIdle();
    machine_.locationSource->standAt({35.8, 51.4});
    machine_.runUntilIdle();
    EXPECT_EQ(takeEvents().size(), 2U);
}

TEST_F(LocationReportsTest, ShowsTheMessagesOfRegionsAndKeepsTheBadge) {
    machine_.application->setApplicationIconBadgeNumber(4);
    ASSERT_TRUE(rooms_->location.startMonitoringRegion({{35.7, 51.4}, 200.0, "g1"}, 0, 0.0,
                                                       Dictionary{{"title", "T"}, {"body", "B"}}, "bye"));
    ASSERT_TRUE(rooms_->location.startMonitoringRegion({{35.7, 51.4}, 200.0, "g2"}, 0, 0.0, 5, {}));
    machine_.runUntilIdle();
    for (const double latitude : {35.8, 35.7}) {
        machine_.locationSource->standAt({latitude, 51.4});
        machine_.runUntilIdle();
    }
    const auto& shown = machine_.application->presentedNotifications();
    ASSERT_EQ(shown.size(), 2U);
    EXPECT_EQ(shown[0].alertBody, "bye");
    EXPECT_EQ(shown[0].applicationIconBadgeNumber, 4);
    EXPECT_EQ(*shown[0].userInfo.find("geofence")->asDictionary(),
              (Dictionary{{"id", "g1"}, {"crossing", "exit"}}));
    EXPECT_EQ(shown[1].alertTitle, "T");
    EXPECT_EQ(*shown[1].userInfo.find("geofence")->asDictionary(),
              (Dictionary{{"id", "g1"}, {"crossing", "enter"}}));
}

}  // namespace
}  // namespace xel
