#include <memory>
#include <utility>

#include "XelPushClient/Linux/System/HostBundle.h"
#include "XelPushClient/Linux/System/LinuxDevice.h"
#include "tests/contract/System/NSBundleContract.h"
#include "tests/contract/System/UIDeviceContract.h"

namespace xel::contract {
namespace {

class LinuxDeviceSubject {
public:
    UIDevice& device() { return device_; }

private:
    LinuxDevice device_;
};

struct HostBundleSubject {
    static std::unique_ptr<NSBundle> makeBundle(std::optional<std::string> shortVersion,
                                                std::optional<std::string> bundleVersion) {
        return std::make_unique<HostBundle>(std::move(shortVersion), std::move(bundleVersion));
    }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, UIDeviceContract, LinuxDeviceSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, NSBundleContract, HostBundleSubject);

}  // namespace xel::contract
