#include "XelPushClient/Linux/Location/GeoClueLocationSource.h"

#include <utility>

#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Location/GeoClueSessions.h"

namespace xel {
namespace {

/// Who waits for positions: on the run loop, for as long as the updates are held.
struct Receiver {
    LocationSource::Handler handler;
};

class Updates final : public LocationUpdates {
public:
    Updates(std::shared_ptr<Receiver> receiver, std::shared_ptr<DBusConnection> bus,
            std::shared_ptr<GeoClueSessions> sessions, std::uint64_t number)
        : receiver_(std::move(receiver)),
          bus_(std::move(bus)),
          sessions_(std::move(sessions)),
          number_(number) {}
    ~Updates() override {
        bus_->perform(
            [sessions = sessions_, number = number_](sdbus::IConnection&) { sessions->stop(number); });
    }
    Updates(const Updates&) = delete;
    Updates& operator=(const Updates&) = delete;

private:
    std::shared_ptr<Receiver> receiver_;
    std::shared_ptr<DBusConnection> bus_;
    std::shared_ptr<GeoClueSessions> sessions_;
    std::uint64_t number_;
};

/// Carries reports from any thread to the receiver on its loop, if it is still there then.
std::function<void(const Result<CLLocation>&)> reportTo(const std::shared_ptr<NSRunLoop>& runLoop,
                                                        const std::shared_ptr<Receiver>& receiver) {
    return [runLoop, weak = std::weak_ptr(receiver)](const Result<CLLocation>& location) {
        runLoop->post([weak, location] {
            const auto waiting = weak.lock();
            // The handler may drop the updates, and itself with them.
            if (const auto handler = waiting ? waiting->handler : nullptr) {
                handler(location);
            }
        });
    };
}

}  // namespace

GeoClueLocationSource::GeoClueLocationSource(std::shared_ptr<NSRunLoop> runLoop, GeoClueOptions options)
    : runLoop_(std::move(runLoop)),
      options_(std::move(options)),
      bus_(std::make_shared<DBusConnection>(options_.busAddress, "xel-geoclue")),
      sessions_(std::make_shared<GeoClueSessions>()) {}

GeoClueLocationSource::~GeoClueLocationSource() = default;

std::unique_ptr<LocationUpdates> GeoClueLocationSource::startUpdates(double distanceFilter, Handler handler) {
    const auto receiver = std::make_shared<Receiver>(Receiver{std::move(handler)});
    const auto report = reportTo(runLoop_, receiver);
    const auto number = ++lastNumber_;
    GeoClueRequest request{options_.desktopId, distanceThresholdOf(distanceFilter), options_.patience,
                           report};
    // The connection outlives its work, so the bare pointer does not outlive it.
    bus_->perform([sessions = sessions_, owner = bus_.get(), number, request = std::move(request)](
                      sdbus::IConnection& bus) { sessions->start(*owner, bus, number, request); },
                  [report, patience = options_.patience](const NSError& error) {
                      report(locationErrorOf(error.localizedFailureReason().value_or(""),
                                             error.localizedDescription(), patience));
                  });
    return std::make_unique<Updates>(receiver, bus_, sessions_, number);
}

}  // namespace xel
