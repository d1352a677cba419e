#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "XelPushClient/Platform/CLLocation.h"

namespace xel::test {

/// A satellite receiver that speaks NMEA 0183 to whoever connects to its socket: a position (GGA) and a speed
/// (RMC), several times a second, as soon as it is somewhere.
class NmeaFeed {
public:
    struct Place {
        CLLocationCoordinate2D coordinate;
        double dilution = 0.9;          ///< horizontal dilution of precision
        std::optional<double> knots{};  ///< without it no RMC is sent
    };

    /// Listens on a socket at that path. Throws when it cannot.
    explicit NmeaFeed(const std::string& path);
    NmeaFeed(const NmeaFeed&) = delete;
    NmeaFeed& operator=(const NmeaFeed&) = delete;
    ~NmeaFeed();

    void moveTo(const Place& place);

private:
    void run();
    [[nodiscard]] std::string sentences();

    int listening_ = -1;
    std::atomic<bool> isEnding_ = false;
    std::mutex mutex_;
    std::optional<Place> place_;
    std::vector<int> listeners_;
    std::thread thread_;
};

}  // namespace xel::test
