#include "XelPushClient/Testing/FakeLocationSource.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace xel {

/// Where the device is, and who wants to know.
struct FakeLocationSource::Device {
    [[nodiscard]] std::chrono::milliseconds timeOnTrack() const {
        return std::chrono::floor<std::chrono::milliseconds>(clock->steadyNow() - trackBegan);
    }
    /// The first point that is still to come.
    [[nodiscard]] RecordedTrack::const_iterator nextPoint() const {
        return std::upper_bound(track.begin(), track.end(), timeOnTrack(),
                                [](auto time, const TrackPoint& point) { return time < point.at; });
    }

    std::shared_ptr<NSRunLoop> runLoop;
    std::shared_ptr<const Clock> clock;
    RecordedTrack track;
    std::chrono::steady_clock::time_point trackBegan{};
    std::optional<NSError> failure;
    std::vector<std::weak_ptr<Running>> running;
    std::vector<double> startedFilters;
};

/// One start, alive until it is dropped or has failed.
class FakeLocationSource::Running final : public std::enable_shared_from_this<Running> {
public:
    Running(std::shared_ptr<Device> device, double distanceFilter, Handler handler)
        : device_(std::move(device)), distanceFilter_(distanceFilter), handler_(std::move(handler)) {}

    [[nodiscard]] bool isRunning() const { return !isOver_; }

    void stop() {
        isOver_ = true;
        cancelLook();
    }

    /// Looks where the device is, posted, and then whenever it is to move.
    void lookSoon() {
        device_->runLoop->post([weak = weak_from_this()] {
            if (const auto self = weak.lock(); self && self->isRunning()) {
                self->look();
            }
        });
    }

    void tell(Result<CLLocation> location) {
        device_->runLoop->post([weak = weak_from_this(), location = std::move(location)] {
            if (const auto self = weak.lock(); self && self->isRunning()) {
                self->deliver(location);
            }
        });
    }

private:
    void look() {
        cancelLook();
        if (device_->failure) {
            deliver(*device_->failure);
            return;
        }
        const auto next = device_->nextPoint();
        // Planned before anything is delivered: a handler that
        // drops these updates takes the plan back with them.
        if (next != device_->track.end()) {
            nextLook_ =
                device_->runLoop->scheduleTimer(next->at - device_->timeOnTrack(), [weak = weak_from_this()] {
                    if (const auto self = weak.lock()) {
                        self->look();
                    }
                });
        }
        if (next != device_->track.begin()) {
            deliverIfMoved(*std::prev(next));
        }
    }

    void deliverIfMoved(const TrackPoint& point) {
        const bool isTooNear =
            lastReported_ && greatCircleDistance(*lastReported_, point.coordinate) < distanceFilter_;
        if (!isTooNear) {
            lastReported_ = point.coordinate;
            deliver(
                CLLocation{point.coordinate, point.horizontalAccuracy, point.speed, device_->clock->now()});
        }
    }

    void deliver(const Result<CLLocation>& location) {
        if (!location) {
            stop();
        }
        // The handler may drop these updates, and itself with them.
        const auto handler = handler_;
        handler(location);
    }

    void cancelLook() {
        if (nextLook_) {
            std::exchange(nextLook_, nullptr)->invalidate();
        }
    }

    std::shared_ptr<Device> device_;
    double distanceFilter_;
    Handler handler_;
    std::shared_ptr<NSTimer> nextLook_;
    std::optional<CLLocationCoordinate2D> lastReported_;
    bool isOver_ = false;
};

class FakeLocationSource::Handle final : public LocationUpdates {
public:
    explicit Handle(std::shared_ptr<Running> running) : running_(std::move(running)) {}
    ~Handle() override { running_->stop(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

private:
    std::shared_ptr<Running> running_;
};

FakeLocationSource::FakeLocationSource(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<const Clock> clock)
    : device_(std::make_shared<Device>()) {
    device_->runLoop = std::move(runLoop);
    device_->clock = std::move(clock);
}

void FakeLocationSource::play(RecordedTrack track) {
    device_->track = std::move(track);
    device_->trackBegan = device_->clock->steadyNow();
    for (const auto& weak : device_->running) {
        if (const auto running = weak.lock()) {
            running->lookSoon();
        }
    }
}

void FakeLocationSource::standAt(const CLLocationCoordinate2D& coordinate, double horizontalAccuracy) {
    play({TrackPoint{std::chrono::milliseconds::zero(), coordinate, horizontalAccuracy, -1.0}});
}

void FakeLocationSource::report(const CLLocation& location) {
    for (const auto& weak : device_->running) {
        if (const auto running = weak.lock()) {
            running->tell(location);
        }
    }
}

void FakeLocationSource::fail(const NSError& error) {
    device_->failure = error;
    for (const auto& weak : device_->running) {
        if (const auto running = weak.lock()) {
            running->lookSoon();
        }
    }
}

void FakeLocationSource::work() {
    device_->failure.reset();
}

std::size_t FakeLocationSource::runningCount() const {
    return static_cast<std::size_t>(
        std::count_if(device_->running.begin(), device_->running.end(), [](const auto& weak) {
            const auto running = weak.lock();
            return running && running->isRunning();
        }));
}

const std::vector<double>& FakeLocationSource::startedFilters() const {
    return device_->startedFilters;
}

std::unique_ptr<LocationUpdates> FakeLocationSource::startUpdates(double distanceFilter, Handler handler) {
    auto running = std::make_shared<Running>(device_, distanceFilter, std::move(handler));
    std::erase_if(device_->running, [](const auto& weak) { return weak.expired(); });
    device_->running.push_back(running);
    device_->startedFilters.push_back(distanceFilter);
    running->lookSoon();
    return std::make_unique<Handle>(std::move(running));
}

namespace {

constexpr double kLongestTrack = 1e9;  // seconds

std::optional<TrackPoint> readPoint(const std::string& line) {
    std::istringstream words(line);
    double seconds = 0.0;
    TrackPoint point;
    words >> seconds >> point.coordinate.latitude >> point.coordinate.longitude >> point.horizontalAccuracy;
    const bool isComplete = !words.fail() && (words >> std::ws).eof();
    if (!isComplete || seconds < 0.0 || seconds > kLongestTrack) {
        return std::nullopt;
    }
    point.at = std::chrono::milliseconds(std::llround(seconds * 1000.0));
    return point;
}

}  // namespace

RecordedTrack readTrack(std::string_view text) {
    RecordedTrack track;
    std::istringstream lines{std::string(text)};
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        const auto first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') {
            continue;
        }
        const auto point = readPoint(line);
        if (!point || (!track.empty() && point->at < track.back().at)) {
            throw std::invalid_argument("line " + std::to_string(number) +
                                        " of the track is no point of it: " + line);
        }
        track.push_back(*point);
    }
    return track;
}

}  // namespace xel
