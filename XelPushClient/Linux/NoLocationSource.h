#pragma once

#include <memory>
#include <utility>

#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// A machine without a location service: every start is answered with an error that says so.
class NoLocationSource final : public LocationSource {
public:
    explicit NoLocationSource(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    [[nodiscard]] std::unique_ptr<LocationUpdates> startUpdates(double distanceFilter,
                                                                Handler handler) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
};

}  // namespace xel
