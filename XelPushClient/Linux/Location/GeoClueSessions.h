#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Location/GeoClueFix.h"

namespace sdbus {
class IConnection;
}

namespace xel {

class DBusConnection;

/// What one client of GeoClue's asks for.
struct GeoClueRequest {
    std::string desktopId;
    std::uint32_t distanceThreshold = 0;  ///< metres
    /// How long GeoClue, and the user behind it, may take to let the application in.
    std::chrono::milliseconds patience{};
    /// Called on the connection's thread: fixes, then at most one error, which is the last.
    std::function<void(const Result<CLLocation>&)> report;
};

/// The clients that this process has with GeoClue over one bus.
///
/// Thread: that of the bus connection, all of it. Nothing here waits: GeoClue answers when it likes, for it
/// may ask the user. Proxies are dropped between callbacks only, for sdbus-c++ goes back to a proxy behind
/// the callback.
class GeoClueSessions : public std::enable_shared_from_this<GeoClueSessions> {
public:
    GeoClueSessions();
    GeoClueSessions(const GeoClueSessions&) = delete;
    GeoClueSessions& operator=(const GeoClueSessions&) = delete;
    ~GeoClueSessions();

    /// Starts a client under a number of the caller's. Throws the errors of D-Bus. Only from work of `owner`.
    void start(DBusConnection& owner, sdbus::IConnection& bus, std::uint64_t number, GeoClueRequest request);
    /// Ends it: nothing is reported any more. Not from a D-Bus callback.
    void stop(std::uint64_t number);

private:
    class Client;
    struct Bus;

    void watch(DBusConnection& owner, sdbus::IConnection& bus);
    void clientWasCreated(sdbus::IConnection& bus, std::uint64_t number, const std::string& path);
    void deleteClient(const std::string& path);
    void loseAll(const NSError& error);

    std::unique_ptr<Bus> bus_;
    std::map<std::uint64_t, std::shared_ptr<Client>> clients_;
};

}  // namespace xel
