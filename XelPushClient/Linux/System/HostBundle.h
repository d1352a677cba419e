#pragma once

#include <optional>
#include <string>
#include <utility>

#include "XelPushClient/Platform/Device.h"

namespace xel {

/// The host application's version keys, as the host gave them.
class HostBundle final : public NSBundle {
public:
    HostBundle(std::optional<std::string> shortVersionString, std::optional<std::string> bundleVersion)
        : shortVersionString_(std::move(shortVersionString)), bundleVersion_(std::move(bundleVersion)) {}

    [[nodiscard]] std::optional<std::string> shortVersionString() const override {
        return shortVersionString_;
    }
    [[nodiscard]] std::optional<std::string> bundleVersion() const override { return bundleVersion_; }

private:
    std::optional<std::string> shortVersionString_;
    std::optional<std::string> bundleVersion_;
};

}  // namespace xel
