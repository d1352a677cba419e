#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

class DBusConnection;
class GeoClueSessions;

struct GeoClueOptions {
    /// Where the system bus listens, as D-Bus writes it.
    std::string busAddress;
    /// The application's desktop id, without ".desktop": GeoClue's configuration and its agent know the
    /// application by it.
    std::string desktopId;
    /// How long GeoClue may take to let the application in. It asks the user's agent, and without one it does
    /// not answer at all. Shorter than the 30 s of a request for one fix, so that its error is the one told.
    std::chrono::milliseconds patience = std::chrono::seconds(25);
};

/// The location as GeoClue2 tells it over the system bus (org.freedesktop.GeoClue2).
///
/// Errors: `NoService` without a bus or GeoClue, and when it goes; `Denied` when the configuration or the
/// user refuses; `TimedOut` when nobody answers, as without an agent. The bus is opened with the first start,
/// on a thread of its own. Thread: as the port says.
class GeoClueLocationSource final : public LocationSource {
public:
    GeoClueLocationSource(std::shared_ptr<NSRunLoop> runLoop, GeoClueOptions options);
    ~GeoClueLocationSource() override;
    GeoClueLocationSource(const GeoClueLocationSource&) = delete;
    GeoClueLocationSource& operator=(const GeoClueLocationSource&) = delete;

    [[nodiscard]] std::unique_ptr<LocationUpdates> startUpdates(double distanceFilter,
                                                                Handler handler) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
    GeoClueOptions options_;
    std::shared_ptr<DBusConnection> bus_;
    std::shared_ptr<GeoClueSessions> sessions_;
    std::uint64_t lastNumber_ = 0;
};

}  // namespace xel
