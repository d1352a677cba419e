#pragma once

#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"

namespace xel::fuzz {

/// Puts in what JSON cannot say: the text "octets:…" stands for the octets behind the colon, and "date:12.5"
/// for an instant in seconds since 1970.
inline Value withOctetsAndDates(Value value) {
    constexpr std::string_view kOctets = "octets:";
    constexpr std::string_view kDate = "date:";
    if (const auto* text = value.asString()) {
        if (text->starts_with(kOctets)) {
            return Data(text->begin() + kOctets.size(), text->end());
        }
        return text->starts_with(kDate)
                   ? Value(dateFromSecondsSince1970(std::strtod(text->c_str() + kDate.size(), nullptr)))
                   : value;
    }
    if (auto* array = value.asArray()) {
        for (auto& item : *array) {
            item = withOctetsAndDates(std::move(item));
        }
    } else if (auto* dictionary = value.asDictionary()) {
        for (auto& [key, item] : dictionary->takeEntries()) {
            dictionary->set(key, withOctetsAndDates(std::move(item)));
        }
    }
    return value;
}

/// The value that a JSON document is, with the above; null for a text that is none.
inline Value valueOfText(std::string_view json) {
    auto value = SimpleJSONSerialization().JSONObjectWithData(json);
    return value ? withOctetsAndDates(std::move(value).value()) : Value();
}

/// The dictionary that a JSON document is; empty for any other text.
inline Dictionary dictionaryOfText(std::string_view json) {
    const Value value = valueOfText(json);
    return value.asDictionary() != nullptr ? *value.asDictionary() : Dictionary();
}

}  // namespace xel::fuzz
