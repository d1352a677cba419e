#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

bool NSUserDefaults::boolForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    return value && value->truth();
}

std::int64_t NSUserDefaults::integerForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    return value ? value->integer().value_or(0) : 0;
}

double NSUserDefaults::doubleForKey(std::string_view key) const {
    const auto value = objectForKey(key);
    return value ? value->number().value_or(0.0) : 0.0;
}

std::optional<std::string> NSUserDefaults::stringForKey(std::string_view key) const {
    auto value = objectForKey(key);
    if (!value || value->asString() == nullptr) {
        return std::nullopt;
    }
    return std::move(*value->asString());
}

std::optional<Dictionary> NSUserDefaults::dictionaryForKey(std::string_view key) const {
    auto value = objectForKey(key);
    if (!value || value->asDictionary() == nullptr) {
        return std::nullopt;
    }
    return std::move(*value->asDictionary());
}

std::optional<Array> NSUserDefaults::arrayForKey(std::string_view key) const {
    auto value = objectForKey(key);
    if (!value || value->asArray() == nullptr) {
        return std::nullopt;
    }
    return std::move(*value->asArray());
}

}  // namespace xel
