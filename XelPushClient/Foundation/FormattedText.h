#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// One argument of a formatted text. It refers to the caller's object and is read only during the call, so
/// that an argument list costs nothing when the text is not wanted.
class FormatArgument {
public:
    FormatArgument(std::string_view text) : value_(text) {}
    FormatArgument(const std::string& text) : value_(std::string_view(text)) {}
    FormatArgument(const char* text) : value_(std::string_view(text)) {}
    FormatArgument(const std::optional<std::string>& text) {
        if (text) {
            value_ = std::string_view(*text);
        }
    }
    template <std::integral Integer>
    FormatArgument(Integer number) : value_(static_cast<std::int64_t>(number)) {}
    FormatArgument(double number) : value_(number) {}
    FormatArgument(const NSError& error) : value_(&error) {}
    FormatArgument(const std::optional<NSError>& error) {
        if (error) {
            value_ = &*error;
        }
    }
    FormatArgument(const Value& value) : value_(&value) {}
    FormatArgument(const Dictionary& value) : value_(&value) {}
    FormatArgument(const std::optional<Dictionary>& value) {
        if (value) {
            value_ = &*value;
        }
    }
    FormatArgument(const Date& date) : value_(&date) {}

    /// The argument's text; "(null)" for a missing one. A precision applies to numbers only.
    [[nodiscard]] std::string describe(std::optional<int> precision = std::nullopt) const;

private:
    std::variant<std::monostate, std::string_view, std::int64_t, double, const NSError*, const Value*,
                 const Dictionary*, const Date*>
        value_;
};

/// Fills a format in the platform's syntax: "%@", "%s" and "%d" take the next argument's text, "%f" and
/// "%.Nf" a number with six or N decimals, "%%" is a per cent sign. A placeholder without an argument
/// reads "(null)".
[[nodiscard]] std::string formatText(std::string_view format,
                                     std::initializer_list<FormatArgument> arguments);

template <class... Arguments>
[[nodiscard]] std::string formatted(std::string_view format, const Arguments&... arguments) {
    return formatText(format, {FormatArgument(arguments)...});
}

/// How a dynamic value reads in a log line: JSON on one line, with dates and octets as texts.
[[nodiscard]] std::string describeValue(const Value& value);

}  // namespace xel
