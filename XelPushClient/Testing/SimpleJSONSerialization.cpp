#include "XelPushClient/Testing/SimpleJSONSerialization.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "XelPushClient/Foundation/DecimalText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

void appendUTF8(std::string& text, char32_t character) {
    const auto octet = [&](char32_t bits) { text += static_cast<char>(static_cast<unsigned char>(bits)); };
    if (character < 0x80) {
        octet(character);
    } else if (character < 0x800) {
        octet(0xC0U | (character >> 6U));
        octet(0x80U | (character & 0x3FU));
    } else if (character < 0x10000) {
        octet(0xE0U | (character >> 12U));
        octet(0x80U | ((character >> 6U) & 0x3FU));
        octet(0x80U | (character & 0x3FU));
    } else {
        octet(0xF0U | (character >> 18U));
        octet(0x80U | ((character >> 12U) & 0x3FU));
        octet(0x80U | ((character >> 6U) & 0x3FU));
        octet(0x80U | (character & 0x3FU));
    }
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// One reading of one document. Every operation answers nothing at the first fault.
class Reader {
public:
    explicit Reader(std::string_view rest) : rest_(rest), size_(rest.size()) {}

    std::optional<Value> readDocument() {
        skipBlanks();
        auto value = readValue(kDeepestJSON);
        skipBlanks();
        if (value && !rest_.empty()) {
            return std::nullopt;
        }
        return value;
    }

    [[nodiscard]] std::size_t position() const { return size_ - rest_.size(); }

private:
    void skipBlanks() {
        const auto first = rest_.find_first_not_of(" \t\r\n");
        rest_.remove_prefix(first == std::string_view::npos ? rest_.size() : first);
    }

    bool take(std::string_view text) {
        if (!rest_.starts_with(text)) {
            return false;
        }
        rest_.remove_prefix(text.size());
        return true;
    }

    std::optional<Value> readValue(int levelsLeft) {
        if (rest_.empty()) {
            return std::nullopt;
        }
        switch (rest_.front()) {
            case '{': return readObject(levelsLeft);
            case '[': return readArray(levelsLeft);
            case '"': return readTextValue();
            case 't': return take("true") ? std::optional<Value>(true) : std::nullopt;
            case 'f': return take("false") ? std::optional<Value>(false) : std::nullopt;
            case 'n': return take("null") ? std::optional<Value>(nullptr) : std::nullopt;
            default: return readNumber();
        }
    }

    std::optional<Value> readObject(int levelsLeft) {
        if (levelsLeft == 0) {
            return std::nullopt;
        }
        take("{");
        skipBlanks();
        Dictionary members;
        if (take("}")) {
            return Value(std::move(members));
        }
        for (;;) {
            auto key = readText();
            skipBlanks();
            if (!key || !take(":")) {
                return std::nullopt;
            }
            skipBlanks();
            auto value = readValue(levelsLeft - 1);
            skipBlanks();
            if (!value) {
                return std::nullopt;
            }
            members.set(std::move(*key), std::move(*value));
            if (take("}")) {
                return Value(std::move(members));
            }
            if (!take(",")) {
                return std::nullopt;
            }
            skipBlanks();
        }
    }

    std::optional<Value> readArray(int levelsLeft) {
        if (levelsLeft == 0) {
            return std::nullopt;
        }
        take("[");
        skipBlanks();
        Array elements;
        if (take("]")) {
            return Value(std::move(elements));
        }
        for (;;) {
            auto value = readValue(levelsLeft - 1);
            skipBlanks();
            if (!value) {
                return std::nullopt;
            }
            elements.push_back(std::move(*value));
            if (take("]")) {
                return Value(std::move(elements));
            }
            if (!take(",")) {
                return std::nullopt;
            }
            skipBlanks();
        }
    }

    std::optional<Value> readTextValue() {
        auto text = readText();
        return text ? std::optional<Value>(std::move(*text)) : std::nullopt;
    }

    std::optional<std::string> readText() {
        if (!take("\"")) {
            return std::nullopt;
        }
        std::string text;
        while (!rest_.empty()) {
            const char character = rest_.front();
            if (static_cast<unsigned char>(character) < 0x20) {
                return std::nullopt;
            }
            rest_.remove_prefix(1);
            if (character == '"') {
                return text;
            }
            if (character != '\\') {
                text += character;
            } else if (!readEscape(text)) {
                return std::nullopt;
            }
        }
        return std::nullopt;
    }

    bool readEscape(std::string& text) {
        constexpr std::string_view kNames = "\"\\/bfnrt";
        constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
        if (rest_.empty()) {
            return false;
        }
        const char name = rest_.front();
        rest_.remove_prefix(1);
        if (name == 'u') {
            return readUnicodeEscape(text);
        }
        const auto at = kNames.find(name);
        if (at == std::string_view::npos) {
            return false;
        }
        text += kMeanings[at];
        return true;
    }

    bool readUnicodeEscape(std::string& text) {
        const auto first = readFourHexDigits();
        // Half of a pair is no character, and UTF-8 has no form for it (RFC 3629 section 3).
        if (!first || (*first >= 0xDC00 && *first <= 0xDFFF)) {
            return false;
        }
        if (*first < 0xD800 || *first > 0xDBFF) {
            appendUTF8(text, *first);
            return true;
        }
        const auto second = take("\\u") ? readFourHexDigits() : std::nullopt;
        if (!second || *second < 0xDC00 || *second > 0xDFFF) {
            return false;
        }
        appendUTF8(text, 0x10000U + ((*first - 0xD800U) << 10U) + (*second - 0xDC00U));
        return true;
    }

    std::optional<char32_t> readFourHexDigits() {
        if (rest_.size() < 4) {
            return std::nullopt;
        }
        std::uint32_t number = 0;
        const char* end = rest_.data() + 4;
        const auto read = std::from_chars(rest_.data(), end, number, 16);
        if (read.ec != std::errc() || read.ptr != end) {
            return std::nullopt;
        }
        rest_.remove_prefix(4);
        return static_cast<char32_t>(number);
    }

    bool takeDigits(std::size_t& at) const {
        const auto begin = at;
        while (at < rest_.size() && isDigit(rest_[at])) {
            ++at;
        }
        return at > begin;
    }

    std::optional<Value> readNumber() {
        std::size_t at = rest_.starts_with('-') ? 1 : 0;
        const bool startsWithZero = at < rest_.size() && rest_[at] == '0';
        const auto digits = at;
        // No leading zeros (RFC 8259 section 6).
        if (!takeDigits(at) || (startsWithZero && at > digits + 1)) {
            return std::nullopt;
        }
        bool isWhole = true;
        if (at < rest_.size() && rest_[at] == '.') {
            isWhole = false;
            if (!takeDigits(++at)) {
                return std::nullopt;
            }
        }
        if (at < rest_.size() && (rest_[at] == 'e' || rest_[at] == 'E')) {
            isWhole = false;
            ++at;
            if (at < rest_.size() && (rest_[at] == '+' || rest_[at] == '-')) {
                ++at;
            }
            if (!takeDigits(at)) {
                return std::nullopt;
            }
        }
        const auto text = rest_.substr(0, at);
        rest_.remove_prefix(at);
        return valueOfNumber(text, isWhole);
    }

    static std::optional<Value> valueOfNumber(std::string_view text, bool isWhole) {
        const char* end = text.data() + text.size();
        std::int64_t whole = 0;
        if (isWhole && std::from_chars(text.data(), end, whole).ec == std::errc()) {
            return Value(whole);
        }
        // Too small is zero, too large cannot be said.
        const double number = readLeadingDecimal(text).number;
        return std::isfinite(number) ? std::optional<Value>(number) : std::nullopt;
    }

    std::string_view rest_;
    std::size_t size_;
};

NSError parseError(std::string_view what, std::size_t position) {
    return makeError("NSJSONSerialization", 3840,
                     std::string(what) + " near octet " + std::to_string(position));
}

}  // namespace

Result<Value> SimpleJSONSerialization::JSONObjectWithData(std::string_view data) {
    if (!isValidUTF8(data)) {
        return parseError("the document is not UTF-8", 0);
    }
    Reader reader(data);
    auto value = reader.readDocument();
    if (!value) {
        return parseError("the document is not JSON", reader.position());
    }
    return std::move(*value);
}

}  // namespace xel
