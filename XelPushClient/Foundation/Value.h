#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/Dictionary.h"

namespace xel {

/// Raw octets, such as a push token.
using Data = std::vector<std::uint8_t>;

class Value;
using Array = std::vector<Value>;

/// One dynamic value: what a JSON document, a stored setting or an error's details are made of.
///
/// Owner: plain value, copied deeply. Not for use between rooms: they decode it at the edge into named
/// records. JSON has no dates and no octets; those two kinds exist for the defaults store and are printed
/// as numbers (milliseconds since 1970) and hexadecimal text.
class Value {
public:
    Value() = default;
    Value(std::nullptr_t) {}
    Value(bool value) : storage_(value) {}
    /// Every integer type. One that only an unsigned type can hold becomes the nearest double, as such a
    /// number of a JSON document does.
    Value(int value) : Value(static_cast<long long>(value)) {}
    Value(long value) : Value(static_cast<long long>(value)) {}
    Value(long long value) : storage_(std::int64_t{value}) {}
    Value(unsigned value) : Value(static_cast<long long>(value)) {}
    Value(unsigned long value) : Value(static_cast<unsigned long long>(value)) {}
    Value(unsigned long long value);
    Value(double value) : storage_(value) {}
    /// A character may be meant as a text or as a number: say `std::string(1, c)` or `int{c}`.
    Value(char) = delete;
    Value(wchar_t) = delete;
    Value(char8_t) = delete;
    Value(char16_t) = delete;
    Value(char32_t) = delete;
    /// Null for a null pointer.
    Value(const char* value);
    /// Any other pointer would become the boolean true.
    Value(const void*) = delete;
    Value(std::string_view value) : storage_(std::string(value)) {}
    Value(std::string value) : storage_(std::move(value)) {}
    Value(Data value) : storage_(std::move(value)) {}
    Value(Date value) : storage_(value) {}
    Value(Array value);
    Value(Dictionary value);
    /// Braces within braces: `{{"lat", 52.1}, {"lng", 13.4}}` is a dictionary.
    Value(std::initializer_list<Dictionary::Item> items);

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
    [[nodiscard]] bool isBool() const { return std::holds_alternative<bool>(storage_); }
    [[nodiscard]] bool isInteger() const { return std::holds_alternative<std::int64_t>(storage_); }
    [[nodiscard]] bool isDouble() const { return std::holds_alternative<double>(storage_); }
    [[nodiscard]] bool isNumber() const { return isBool() || isInteger() || isDouble(); }
    [[nodiscard]] bool isString() const { return std::holds_alternative<std::string>(storage_); }

    /// The value of exactly that kind, or null: a value of another kind reads as absent.
    [[nodiscard]] const bool* asBool() const { return std::get_if<bool>(&storage_); }
    [[nodiscard]] const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&storage_); }
    [[nodiscard]] const std::string* asString() const { return std::get_if<std::string>(&storage_); }
    [[nodiscard]] std::string* asString() { return std::get_if<std::string>(&storage_); }
    [[nodiscard]] const Data* asData() const { return std::get_if<Data>(&storage_); }
    [[nodiscard]] const Date* asDate() const { return std::get_if<Date>(&storage_); }
    [[nodiscard]] const Array* asArray() const { return std::get_if<Array>(&storage_); }
    [[nodiscard]] Array* asArray() { return std::get_if<Array>(&storage_); }
    [[nodiscard]] const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&storage_); }
    [[nodiscard]] Dictionary* asDictionary() { return std::get_if<Dictionary>(&storage_); }

    /// Replaces what is stored with a `T` made in place, and returns it.
    template <class T, class... Arguments>
    T& emplace(Arguments&&... arguments) {
        return storage_.template emplace<T>(std::forward<Arguments>(arguments)...);
    }

    /// Any number as a double; a boolean counts as 0 or 1. Absent for every other kind.
    [[nodiscard]] std::optional<double> number() const;

    /// Any number as an integer: a fraction is cut towards zero, a value outside the range is the nearest
    /// end of it, not-a-number is 0. Absent for every other kind.
    [[nodiscard]] std::optional<std::int64_t> integer() const;

    /// Whether it is true, or a number other than 0; false for every other kind.
    [[nodiscard]] bool truth() const;

    /// Calls the visitor with the stored alternative (`std::monostate` for null).
    template <class Visitor>
    decltype(auto) visit(Visitor&& visitor) const {
        return std::visit(std::forward<Visitor>(visitor), storage_);
    }

    friend bool operator==(const Value& left, const Value& right);

private:
    std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Date, Array, Dictionary>
        storage_;
};

/// A key and its value, as braces list them.
struct Dictionary::Item {
    Item(Text itemKey, Value itemValue) : key(std::move(itemKey)), value(std::move(itemValue)) {}

    Text key;
    Value value;
};

/// How operations take a dictionary that may be missing: for parameters, as `OptionalText` is.
///
/// Braces make a dictionary, `{}` the empty one; missing is what `std::nullopt`, `nullptr` and an empty
/// optional are.
class OptionalDictionary {
public:
    OptionalDictionary(std::nullopt_t) {}
    OptionalDictionary(std::nullptr_t) {}
    OptionalDictionary(std::initializer_list<Dictionary::Item> items) : dictionary_(std::in_place, items) {}
    OptionalDictionary(Dictionary dictionary) : dictionary_(std::move(dictionary)) {}
    OptionalDictionary(std::optional<Dictionary> dictionary) : dictionary_(std::move(dictionary)) {}

    [[nodiscard]] const std::optional<Dictionary>& asOptional() const { return dictionary_; }

private:
    std::optional<Dictionary> dictionary_;
};

}  // namespace xel
