#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace xel {

// How operations take texts: one type for each kind of parameter, made from whatever a caller has at hand, so
// that an operation need not be declared once for each. Plain values, for parameters alone: what is kept is a
// `std::string` or an optional one. UTF-8.

/// A text that must be there: a literal, a `std::string` or a `std::string_view`.
///
/// A null pointer is no text. Written out as `nullptr` it does not compile; one that turns up at run time
/// throws `std::invalid_argument`. Nor do braces around two texts, which would make a `std::string` of
/// whatever lies between them in memory.
class Text {
public:
    Text(std::string text) : text_(std::move(text)) {}
    Text(std::string_view text) : text_(text) {}
    Text(const char* text);
    /// Nothing says what an operation does without this text.
    Text(std::nullptr_t) = delete;

    [[nodiscard]] const std::string& string() const& { return text_; }
    [[nodiscard]] std::string string() && { return std::move(text_); }

private:
    std::string text_;
};

/// A text that may be missing: as `Text`, and `std::nullopt`, `nullptr`, a null pointer (an environment
/// variable that is not set), an empty optional, or nothing between braces.
class OptionalText {
public:
    OptionalText() = default;
    OptionalText(std::nullopt_t) {}
    OptionalText(std::nullptr_t) {}
    OptionalText(std::string text) : text_(std::move(text)) {}
    OptionalText(std::string_view text) : text_(std::in_place, text) {}
    OptionalText(const char* text);
    /// A template, which braces do not reach: another overload's options between braces ({.live = true}) must
    /// never be tried as what an optional is made of, an error with clang's library and not a mismatch.
    template <std::same_as<std::optional<std::string>> T>
    OptionalText(T text) : text_(std::move(text)) {}

    [[nodiscard]] const std::optional<std::string>& asOptional() const { return text_; }

private:
    std::optional<std::string> text_;
};

/// Any number of texts, in an order: a list in braces, which may be empty, or a vector.
class TextList {
public:
    TextList(std::initializer_list<Text> texts);
    TextList(std::vector<std::string> texts) : texts_(std::move(texts)) {}

    [[nodiscard]] const std::vector<std::string>& asVector() const { return texts_; }

private:
    std::vector<std::string> texts_;
};

}  // namespace xel
