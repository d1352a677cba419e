#pragma once

#include <algorithm>
#include <optional>

#include "XelPushClient/Foundation/Value.h"

namespace xel::fuzz {

// Whether two values are the same document but for the kind of a number: 1e5 is written as 100000, which is
// read as an integer.

[[nodiscard]] inline bool isSame(const Value& left, const Value& right);

[[nodiscard]] inline bool isSame(const Array& left, const Array& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const Value& one, const Value& other) { return isSame(one, other); });
}

[[nodiscard]] inline bool isSame(const Dictionary& left, const Dictionary& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const auto& one, const auto& other) {
                          return one.first == other.first && isSame(one.second, other.second);
                      });
}

bool isSame(const Value& left, const Value& right) {
    if (left.asArray() != nullptr && right.asArray() != nullptr) {
        return isSame(*left.asArray(), *right.asArray());
    }
    if (left.asDictionary() != nullptr && right.asDictionary() != nullptr) {
        return isSame(*left.asDictionary(), *right.asDictionary());
    }
    const bool areNumbers = left.isNumber() && right.isNumber() && left.isBool() == right.isBool();
    return left == right || (areNumbers && left.number() == right.number());
}

[[nodiscard]] inline bool isSame(const std::optional<Dictionary>& left,
                                 const std::optional<Dictionary>& right) {
    return left && right ? isSame(*left, *right) : left.has_value() == right.has_value();
}

}  // namespace xel::fuzz
