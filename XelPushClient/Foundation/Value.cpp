#include "XelPushClient/Foundation/Value.h"

#include <cmath>
#include <limits>
#include <utility>

namespace xel {
namespace {

std::int64_t clampedInteger(double value) {
    constexpr double kTwoToThe63 = 9223372036854775808.0;
    if (std::isnan(value)) {
        return 0;
    }
    // The greatest int64 is no double: the next above it is 2^63, which does not fit any more.
    if (value >= kTwoToThe63) {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (value < -kTwoToThe63) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(value);
}

}  // namespace

Value::Value(unsigned long long value) {
    if (std::in_range<std::int64_t>(value)) {
        storage_ = static_cast<std::int64_t>(value);
    } else {
        storage_ = static_cast<double>(value);
    }
}
Value::Value(const char* value) {
    if (value != nullptr) {
        storage_ = std::string(value);
    }
}
Value::Value(Array value) : storage_(std::move(value)) {}
Value::Value(Dictionary value) : storage_(std::move(value)) {}
Value::Value(std::initializer_list<Dictionary::Item> items) : storage_(Dictionary(items)) {}

std::optional<double> Value::number() const {
    if (const auto* number = std::get_if<double>(&storage_)) {
        return *number;
    }
    if (const auto* number = std::get_if<std::int64_t>(&storage_)) {
        return static_cast<double>(*number);
    }
    if (const auto* flag = std::get_if<bool>(&storage_)) {
        return *flag ? 1.0 : 0.0;
    }
    return std::nullopt;
}

std::optional<std::int64_t> Value::integer() const {
    if (const auto* number = std::get_if<std::int64_t>(&storage_)) {
        return *number;
    }
    if (const auto* number = std::get_if<double>(&storage_)) {
        return clampedInteger(*number);
    }
    if (const auto* flag = std::get_if<bool>(&storage_)) {
        return *flag ? 1 : 0;
    }
    return std::nullopt;
}

bool Value::truth() const {
    const auto value = number();
    return value.has_value() && *value != 0.0;
}

bool operator==(const Value& left, const Value& right) {
    return left.storage_ == right.storage_;
}

}  // namespace xel
