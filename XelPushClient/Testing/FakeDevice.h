#pragma once

#include <optional>
#include <string>
#include <utility>

#include "XelPushClient/Platform/Device.h"

namespace xel {

/// A device as the test describes it. Set it before the client is made: a device does not change while a
/// process lives.
class FakeDevice final : public UIDevice {
public:
    [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }
    [[nodiscard]] std::string machineIdentifier() const override { return machineIdentifier_; }

    void setSystemVersion(std::string version) { systemVersion_ = std::move(version); }
    void setMachineIdentifier(std::string identifier) { machineIdentifier_ = std::move(identifier); }

private:
    std::string systemVersion_ = "12.4";
    std::string machineIdentifier_ = "x86_64";
};

/// The host's version keys; either may be missing.
class FakeBundle final : public NSBundle {
public:
    [[nodiscard]] std::optional<std::string> shortVersionString() const override { return shortVersion_; }
    [[nodiscard]] std::optional<std::string> bundleVersion() const override { return bundleVersion_; }

    void setVersions(std::optional<std::string> shortVersion, std::optional<std::string> bundleVersion) {
        shortVersion_ = std::move(shortVersion);
        bundleVersion_ = std::move(bundleVersion);
    }

private:
    std::optional<std::string> shortVersion_ = "2.3";
    std::optional<std::string> bundleVersion_ = "41";
};

}  // namespace xel
