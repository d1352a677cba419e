#include "XelPushClient/Linux/Push/UnifiedPushRegistration.h"

#include <string_view>
#include <utility>

#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Foundation/DictionaryReading.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/UUID.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

namespace {

constexpr std::string_view kKey = "unifiedPushRegistration";

}  // namespace

Result<UnifiedPushRegistration> makeRegistration(const std::string& distributor) {
    auto keys = WebPushKeys::make();
    if (!keys) {
        return keys.error();
    }
    return UnifiedPushRegistration{makeUUID(), std::move(keys).value(), distributor, {}};
}

std::optional<UnifiedPushRegistration> loadRegistration(const NSUserDefaults& store) {
    const auto stored = store.dictionaryForKey(kKey);
    if (!stored) {
        return std::nullopt;
    }
    const auto octetsUnder = [&](std::string_view key) {
        const Value value = valueUnder(*stored, key);
        return value.asData() != nullptr ? *value.asData() : Data();
    };
    const auto token = textUnder(*stored, "token");
    const auto distributor = textUnder(*stored, "distributor");
    auto keys = WebPushKeys::fromStored(octetsUnder("privateKey"), octetsUnder("auth"));
    if (!keys || !token || !distributor) {
        return std::nullopt;
    }
    return UnifiedPushRegistration{*token, std::move(keys).value(), *distributor,
                                   textUnder(*stored, "endpoint").value_or("")};
}

bool storeRegistration(NSUserDefaults& store, const UnifiedPushRegistration& registration) {
    store.setObject(kKey, Dictionary{{"token", registration.token},
                                     {"privateKey", registration.keys.privateKey()},
                                     {"auth", registration.keys.authSecret()},
                                     {"distributor", registration.distributor},
                                     {"endpoint", registration.endpoint}});
    return store.synchronize();
}

Data deviceTokenOf(const UnifiedPushRegistration& registration) {
    const std::string text = printJSON(Dictionary{{"endpoint", registration.endpoint},
                                                  {"publicKey", base64URLOf(registration.keys.publicKey())},
                                                  {"auth", base64URLOf(registration.keys.authSecret())}},
                                       JSONLayout::OneLine);
    return {text.begin(), text.end()};
}

}  // namespace xel
