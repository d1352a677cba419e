#pragma once

#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/GeoLocation/GeoLocation.h"
#include "XelPushClient/Testing/FakeMachine.h"

namespace xel {

/// Writes down what it hears of positions.
class RecordingGeoObserver final : public GeoLocationObserver {
public:
    void regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                          const Value& message) override {
        heard.push_back((crossing == RegionCrossing::Entered ? "entered " : "left ") + region.identifier +
                        ": " +
                        (message.asString() != nullptr ? *message.asString() : formatted("%@", message)));
        if (reaction) {
            reaction();
        }
    }
    void positionWasTracked(const CLLocation& location) override {
        heard.push_back(formatted("tracked %.4f", location.coordinate.latitude));
        if (reaction) {
            reaction();
        }
    }

    std::vector<std::string> heard;
    std::function<void()> reaction;
};

/// A location room on a fake machine, with a device that is carried about.
class GeoLocationTest : public testing::Test {
protected:
    static constexpr CLLocationCoordinate2D kCenter{35.7, 51.4};

    GeoLocationTest() { launch(); }

    /// Ends the process, if there is one, and starts another on the same home.
    void launch() {
        location_.reset();
        home_ = Home();
        home_ = machine_.makeHome();
        home_.defaults->setObject("enableTavrinLogInDebuggingKEY", true);
        log_ = std::make_unique<LogOutput>(*home_.defaults, *machine_.logSink);
        life_ = ClientLife();
        location_ = std::make_shared<GeoLocation>(
            GeoLocation::Surroundings{life_, machine_.runLoop, *machine_.clock, *machine_.locationSource,
                                      *home_.defaults, *log_, observer_});
        life_.begin(location_);
        location_->resumeMonitoring();
    }
    /// As a host does that destroys its client.
    void endClient() {
        life_.end();
        location_.reset();
    }

    /// A place so many metres north of the centre, along the meridian.
    static CLLocationCoordinate2D metresFromCenter(double metres) {
        constexpr double kMetresOfADegree = 6371008.8 * std::numbers::pi / 180.0;
        return {kCenter.latitude + metres / kMetresOfADegree, kCenter.longitude};
    }
    void standAt(double metres, double accuracy = 5.0) {
        machine_.locationSource->standAt(metresFromCenter(metres), accuracy);
        machine_.runUntilIdle();
    }
    /// Region "g1" of 200 m around the centre.
    [[nodiscard]] bool watch(std::int64_t expireCount = 0, double expireTs = 0.0) {
        const bool isTaken =
            location_->startMonitoringRegion({kCenter, 200.0, "g1"}, expireCount, expireTs, "hello", "bye")
                .isOk();
        machine_.runUntilIdle();
        return isTaken;
    }
    [[nodiscard]] bool isWatched(std::string_view identifier = "g1") const {
        return location_->getRegionWithIdentifier(identifier).has_value();
    }
    [[nodiscard]] double nowInMilliseconds() const { return millisecondsSince1970(machine_.clock->now()); }
    [[nodiscard]] std::vector<std::string> takeHeard() { return std::exchange(observer_.heard, {}); }
    /// What a process killed now would find.
    [[nodiscard]] std::optional<Value> onDisk(std::string_view key) const {
        const auto store = machine_.disk->contents("home");
        const Value* value = store.settings.find(key);
        return value != nullptr ? std::optional(*value) : std::nullopt;
    }
    [[nodiscard]] std::size_t running() const { return machine_.locationSource->runningCount(); }

    FakeMachine machine_;
    RecordingGeoObserver observer_;
    Home home_;
    std::unique_ptr<LogOutput> log_;
    ClientLife life_;
    std::shared_ptr<GeoLocation> location_;
};

}  // namespace xel
