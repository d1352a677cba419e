#include "XelPushClient/Linux/UnifiedPushRegistration.h"

#include <string_view>
#include <utility>

#include "XelPushClient/Foundation/Base64URL.h"
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
    const auto textOf = [&](std::string_view key) {
        const Value* value = stored->find(key);
        return value != nullptr && value->asString() != nullptr ? *value->asString() : std::string();
    };
    const auto octetsOf = [&](std::string_view key) {
        const Value* value = stored->find(key);
        return value != nullptr && value->asData() != nullptr ? *value->asData() : Data();
    };
    auto keys = WebPushKeys::fromStored(octetsOf("privateKey"), octetsOf("auth"));
    if (!keys || textOf("token").empty() || textOf("distributor").empty()) {
        return std::nullopt;
    }
    return UnifiedPushRegistration{textOf("token"), std::move(keys).value(), textOf("distributor"),
                                   textOf("endpoint")};
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
