#include "XelPushClient/Linux/NoLocationSource.h"

namespace xel {
namespace {

/// Holds the handler for as long as somebody waits.
class Waiting final : public LocationUpdates {
public:
    explicit Waiting(std::shared_ptr<LocationSource::Handler> handler) : handler_(std::move(handler)) {}

private:
    std::shared_ptr<LocationSource::Handler> handler_;
};

}  // namespace

std::unique_ptr<LocationUpdates> NoLocationSource::startUpdates(double /*distanceFilter*/, Handler handler) {
    const auto shared = std::make_shared<Handler>(std::move(handler));
    runLoop_->post([weak = std::weak_ptr(shared)] {
        if (const auto waiting = weak.lock()) {
            (*waiting)(
                makeLocationError(LocationErrorCode::NoService, "no location service on this machine"));
        }
    });
    return std::make_unique<Waiting>(shared);
}

}  // namespace xel
