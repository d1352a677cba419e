// Remote configuration, which comes in the data of messages, and the regions that it sets up: whatever was
// said, the regions are such as may be watched, no more than are kept, the same after a restart, and a
// device that is carried about crosses each border once in turn.
//
// Input: lines, each a JSON object as a message's data has it, or "@" and a place: latitude, longitude,
// accuracy.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Classes/GeoLocation/GeoLocation.h"
#include "XelPushClient/Classes/Messaging/RemoteConfiguration.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/FuzzValues.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

constexpr std::size_t kMostLines = 64;

class Borders final : public GeoLocationObserver {
public:
    void regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing, const Value&) override {
        const auto last = last_.find(region.identifier);
        require(last == last_.end() || last->second != crossing,
                "a border is crossed there and back in turn");
        last_[region.identifier] = crossing;
    }
    void positionWasTracked(const CLLocation&) override { require(false, "nobody asked for positions"); }

    /// The regions may be other ones of the same names now.
    void forget() { last_.clear(); }

private:
    std::map<std::string, RegionCrossing> last_;
};

class Device {
public:
    Device() { launch(); }
    ~Device() {
        location_.reset();
        machine_.discardPostedWork();
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void configure(const Dictionary& data) {
        const auto before = watched();
        configuration_->backdoorConfigs(data, "news");
        machine_.runUntilIdle();
        borders_.forget();
        check(before);
    }

    void stand(const std::string& place) {
        double latitude = 0.0;
        double longitude = 0.0;
        double accuracy = 5.0;
        (void)std::sscanf(place.c_str(), "%lf %lf %lf", &latitude, &longitude, &accuracy);
        const auto before = watched();
        machine_.locationSource->standAt({latitude, longitude}, accuracy);
        machine_.runUntilIdle();
        machine_.advanceBy(std::chrono::seconds(1));
        check(before);
    }

    void restart() {
        const auto before = location_->monitoredRegions();
        launch();
        const auto after = location_->monitoredRegions();
        require(after == before, "regions are the same after a restart");
    }

private:
    void launch() {
        configuration_.reset();
        location_.reset();
        home_ = Home();
        home_ = machine_.makeHome();
        home_.defaults->setObject("enableTavrinLogInDebuggingKEY", true);
        log_ = std::make_unique<LogOutput>(*home_.defaults, *machine_.logSink);
        life_ = ClientLife();
        location_ = std::make_shared<GeoLocation>(
            GeoLocation::Surroundings{life_, machine_.runLoop, *machine_.clock, *machine_.locationSource,
                                      *home_.defaults, *log_, borders_});
        life_.begin(location_);
        configuration_ = std::make_unique<RemoteConfiguration>(*location_, *log_);
        location_->resumeMonitoring();
    }

    [[nodiscard]] std::vector<CLCircularRegion> watched() const { return location_->monitoredRegions(); }

    void check(const std::vector<CLCircularRegion>& before) const {
        const auto now = watched();
        require(now.size() <= MonitoredRegions::kMost && now.size() <= before.size() + 1,
                "regions are bounded");
        for (const auto& region : now) {
            require(MonitoredRegion{region, 0, 0.0, {}, {}, RegionSide::Unknown}.check().isOk(),
                    "a region that is watched is one");
            const auto isSame = [&](const auto& other) { return other.identifier == region.identifier; };
            require(std::count_if(now.begin(), now.end(), isSame) == 1, "an identifier names one region");
        }
        require(machine_.locationSource->runningCount() == (now.empty() ? 0U : 1U),
                "the location is watched while there are regions");
    }

    FakeMachine machine_;
    Borders borders_;
    Home home_;
    std::unique_ptr<LogOutput> log_;
    ClientLife life_;
    std::shared_ptr<GeoLocation> location_;
    std::unique_ptr<RemoteConfiguration> configuration_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    Device device;
    for (std::size_t count = 0; !input.isAtEnd() && count < kMostLines; ++count) {
        const std::string line = input.line();
        if (line.starts_with('@')) {
            device.stand(line.substr(1));
        } else {
            device.configure(fuzz::dictionaryOfText(line));
        }
    }
    device.restart();
    return 0;
}
