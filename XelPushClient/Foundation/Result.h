#pragma once

#include <stdexcept>
#include <utility>
#include <variant>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// A value, or the error that kept it from being made. Must not be ignored.
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : storage_(std::in_place_index<0>, std::move(value)) {}
    Result(NSError error) : storage_(std::in_place_index<1>, std::move(error)) {}

    [[nodiscard]] bool isOk() const { return storage_.index() == 0; }
    explicit operator bool() const { return isOk(); }

    /// The value. To ask a failed result for it is a programming error and throws `std::logic_error`.
    [[nodiscard]] T& value() & {
        requireOk();
        return *std::get_if<0>(&storage_);
    }
    [[nodiscard]] const T& value() const& {
        requireOk();
        return *std::get_if<0>(&storage_);
    }
    [[nodiscard]] T&& value() && {
        requireOk();
        return std::move(*std::get_if<0>(&storage_));
    }

    /// The error. To ask a successful result for it throws `std::logic_error`.
    [[nodiscard]] const NSError& error() const {
        if (isOk()) {
            throw std::logic_error("the error of a result that holds a value was asked for");
        }
        return *std::get_if<1>(&storage_);
    }

private:
    void requireOk() const {
        if (!isOk()) {
            throw std::logic_error("the value of a failed result was asked for: " + describeError(error()));
        }
    }

    std::variant<T, NSError> storage_;
};

/// Success, or the error that prevented it.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(NSError error) : error_(std::move(error)) {}

    [[nodiscard]] bool isOk() const { return !error_.has_value(); }
    explicit operator bool() const { return isOk(); }

    [[nodiscard]] const NSError& error() const {
        if (!error_) {
            throw std::logic_error("the error of a result that succeeded was asked for");
        }
        return *error_;
    }

private:
    std::optional<NSError> error_;
};

}  // namespace xel
