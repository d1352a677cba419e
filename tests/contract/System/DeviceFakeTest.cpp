#include <memory>
#include <utility>

#include "XelPushClient/Testing/FakeDevice.h"
#include "tests/contract/System/NSBundleContract.h"
#include "tests/contract/System/UIDeviceContract.h"

namespace xel::contract {
namespace {

class FakeDeviceSubject {
public:
    UIDevice& device() { return device_; }

private:
    FakeDevice device_;
};

struct FakeBundleSubject {
    static std::unique_ptr<NSBundle> makeBundle(std::optional<std::string> shortVersion,
                                                std::optional<std::string> bundleVersion) {
        auto bundle = std::make_unique<FakeBundle>();
        bundle->setVersions(std::move(shortVersion), std::move(bundleVersion));
        return bundle;
    }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, UIDeviceContract, FakeDeviceSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, NSBundleContract, FakeBundleSubject);

}  // namespace xel::contract
