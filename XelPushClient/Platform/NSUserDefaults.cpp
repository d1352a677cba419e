#include "XelPushClient/Platform/NSUserDefaults.h"

#include <algorithm>
#include <utility>

namespace xel {

void appendTexts(Array& array, std::span<const std::string_view> texts, std::size_t mostKept) {
    texts = texts.last(std::min(texts.size(), mostKept));
    const std::size_t all = array.size() + texts.size();
    const std::size_t dropped = all - std::min(all, mostKept);
    // Dropped ones go to the end and are written over, with the memory of their texts.
    std::rotate(array.begin(), array.begin() + static_cast<std::ptrdiff_t>(dropped), array.end());
    array.resize(all - dropped);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        Value& value = array[array.size() - texts.size() + i];
        if (std::string* const text = value.asString()) {
            *text = texts[i];
        } else {
            value = texts[i];
        }
    }
}

void NSUserDefaults::appendToArray(std::string_view key, std::span<const std::string_view> texts,
                                   std::size_t mostKept) {
    Array array = arrayForKey(key).value_or(Array());
    appendTexts(array, texts, mostKept);
    setObject(key, std::move(array));
}

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
