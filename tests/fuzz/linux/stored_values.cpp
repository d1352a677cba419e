// The stored form of values, and what is read from it. A form is read only if it is the very one that the
// value is written in, so that no damage goes unnoticed; what is read comes back equal.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/GeoLocation/MonitoredRegion.h"
#include "XelPushClient/Linux/Push/UnifiedPushRegistration.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

std::string encoded(const Value& value) {
    std::string octets;
    require(appendEncodedValue(value, octets), "what was read can be stored");
    return octets;
}

void checkTopics(std::string_view octets) {
    const auto topics = decodeTopics(octets);
    if (!topics) {
        return;
    }
    for (const auto& [topic, qos] : *topics) {
        require(qos >= 0 && qos <= 2, "a topic has a quality of service");
    }
    require(encodeTopics(*topics) == octets, "topics are stored as they were");
}

void checkRegion(const Value& value) {
    const auto region = MonitoredRegion::fromStored(value);
    if (!region) {
        return;
    }
    require(region->check().isOk(), "a stored region is one that can be watched");
    const Value stored = region->stored();
    const auto again = MonitoredRegion::fromStored(stored);
    require(again && encoded(again->stored()) == encoded(stored), "a region is stored as it was");
}

void checkRegistration(const Value& value) {
    auto store = InMemoryUserDefaults::open(std::make_shared<FakeDisk>());
    store.value()->setObject("unifiedPushRegistration", value);
    const auto registration = loadRegistration(*store.value());
    if (!registration) {
        return;
    }
    require(registration->keys.publicKey().size() == WebPushKeys::kPublicKeySize, "keys are whole");
    require(!deviceTokenOf(*registration).empty(), "a registration has its token");
    require(storeRegistration(*store.value(), *registration), "a registration can be stored");
    const auto again = loadRegistration(*store.value());
    require(again && again->token == registration->token && again->distributor == registration->distributor &&
                again->endpoint == registration->endpoint &&
                again->keys.privateKey() == registration->keys.privateKey() &&
                again->keys.authSecret() == registration->keys.authSecret(),
            "a registration is stored as it was");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string octets(reinterpret_cast<const char*>(data), size);
    checkTopics(octets);
    const auto value = decodeValue(octets);
    if (!value) {
        return 0;
    }
    require(encoded(value.value()) == octets, "a value has one stored form");
    require(encoded(decodeValue(octets).value()) == octets, "a form is one value");
    checkRegion(value.value());
    checkRegistration(value.value());
    return 0;
}
