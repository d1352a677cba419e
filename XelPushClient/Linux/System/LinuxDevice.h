#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Platform/Device.h"

namespace xel {

/// The device by os-release(5) and uname(2), read once when it is made.
class LinuxDevice final : public UIDevice {
public:
    LinuxDevice();

    /// VERSION_ID of os-release; on a distribution without versions the kernel's release.
    [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }
    [[nodiscard]] std::string machineIdentifier() const override { return machineIdentifier_; }

private:
    std::string systemVersion_;
    std::string machineIdentifier_;
};

/// The value of VERSION_ID in the text of an os-release file, without its quotes; empty when there is none.
[[nodiscard]] std::string versionIdOfOsRelease(std::string_view text);

}  // namespace xel
