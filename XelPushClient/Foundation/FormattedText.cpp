#include "XelPushClient/Foundation/FormattedText.h"

#include <array>
#include <cstdio>

#include "XelPushClient/Foundation/JSONPrinter.h"

namespace xel {
namespace {

std::string describeNumber(double number, std::optional<int> precision) {
    // The largest finite double has 309 digits before its point; the precision adds at most one digit (0 to
    // 9).
    std::array<char, 352> text{};
    if (precision) {
        std::snprintf(text.data(), text.size(), "%.*f", *precision, number);
    } else {
        // 17 digits tell any two doubles apart.
        std::snprintf(text.data(), text.size(), "%.17g", number);
    }
    return text.data();
}

struct Placeholder {
    std::size_t length = 0;  // 0 when the text at this place is no placeholder
    std::optional<int> precision;
};

Placeholder placeholderAt(std::string_view text) {
    if (text.size() < 2) {
        return {};
    }
    switch (text[1]) {
        case '@':
        case 's':
        case 'd': return {2, std::nullopt};
        case 'f': return {2, 6};
        case '.': {
            const bool isPrecision = text.size() >= 4 && text[2] >= '0' && text[2] <= '9' && text[3] == 'f';
            return isPrecision ? Placeholder{4, text[2] - '0'} : Placeholder{};
        }
        default: return {};
    }
}

}  // namespace

std::string FormatArgument::describe(std::optional<int> precision) const {
    struct Describer {
        std::optional<int> precision;
        std::string operator()(std::monostate) const { return "(null)"; }
        std::string operator()(std::string_view text) const { return std::string(text); }
        std::string operator()(std::int64_t number) const {
            return precision ? describeNumber(static_cast<double>(number), precision)
                             : std::to_string(number);
        }
        std::string operator()(double number) const { return describeNumber(number, precision); }
        std::string operator()(const NSError* error) const { return describeError(*error); }
        std::string operator()(const Value* value) const { return describeValue(*value); }
        std::string operator()(const Dictionary* value) const { return describeValue(Value(*value)); }
        std::string operator()(const Date* date) const { return describeDate(*date); }
    };
    return std::visit(Describer{precision}, value_);
}

std::string formatText(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    std::string text;
    const auto* next = arguments.begin();
    while (!format.empty()) {
        const auto percent = format.find('%');
        text += format.substr(0, percent);
        if (percent == std::string_view::npos) {
            break;
        }
        format.remove_prefix(percent);
        if (format.size() >= 2 && format[1] == '%') {
            text += '%';
            format.remove_prefix(2);
            continue;
        }
        const auto placeholder = placeholderAt(format);
        if (placeholder.length == 0) {
            text += '%';
            format.remove_prefix(1);
            continue;
        }
        text += next == arguments.end() ? "(null)" : (next++)->describe(placeholder.precision);
        format.remove_prefix(placeholder.length);
    }
    return text;
}

std::string describeValue(const Value& value) {
    return printJSON(value, JSONLayout::OneLine);
}

}  // namespace xel
