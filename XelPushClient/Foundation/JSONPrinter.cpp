#include "XelPushClient/Foundation/JSONPrinter.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr double kSmallestPlainNumber = 1e-4;
constexpr double kLargestPlainNumber = 1e17;

/// Octets that stand in a text as they are, each a character by itself: ASCII but for controls, quotes and
/// backslashes.
constexpr bool isPlain(char octet) {
    return octet >= 0x20 && octet != '"' && octet != '\\';
}

/// The same of eight octets at once. A difference that borrows reaches only octets behind one that is not
/// plain itself.
bool areAllPlain(std::uint64_t word) {
    constexpr std::uint64_t kOnes = 0x0101010101010101U;
    constexpr std::uint64_t kHighBits = 0x80U * kOnes;
    const std::uint64_t quotes = word ^ ('"' * kOnes);
    const std::uint64_t backslashes = word ^ ('\\' * kOnes);
    const std::uint64_t found = (word - 0x20U * kOnes) | (quotes - kOnes) | (backslashes - kOnes) | word;
    return (found & kHighBits) == 0;
}

/// How many octets at the text's beginning are plain.
std::size_t plainLength(std::string_view text) {
    std::size_t length = 0;
    for (std::uint64_t word = 0; text.size() - length >= sizeof word; length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if (!areAllPlain(word)) {
            break;
        }
    }
    while (length < text.size() && isPlain(text[length])) {
        ++length;
    }
    return length;
}

class Printer {
public:
    explicit Printer(JSONLayout layout) : isPretty_(layout == JSONLayout::Pretty) {
        constexpr std::size_t kUsualSize = 512;
        text_.reserve(kUsualSize);
    }

    [[nodiscard]] std::string take() { return std::move(text_); }

    void operator()(std::monostate) { text_ += "null"; }
    void operator()(bool flag) { text_ += flag ? "true" : "false"; }
    void operator()(std::int64_t number) {
        std::array<char, 20> digits{};  // the longest has a sign and 19 digits
        text_.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
    }
    void operator()(double number) { printNumber(number); }
    void operator()(const std::string& text) { printText(text); }
    void operator()(const Data& octets) { printText(hexadecimal(octets)); }
    void operator()(const Date& date) { printNumber(millisecondsSince1970(date)); }

    void operator()(const Array& array) {
        open('[');
        bool isFirst = true;
        for (const Value& element : array) {
            startMember(isFirst);
            element.visit(*this);
        }
        close(']', isFirst);
    }

    void operator()(const Dictionary& dictionary) {
        open('{');
        bool isFirst = true;
        for (const auto& [key, value] : dictionary) {
            startMember(isFirst);
            printText(key, isPretty_ ? "\" : " : "\":");
            value.visit(*this);
        }
        close('}', isFirst);
    }

private:
    void open(char bracket) {
        text_ += bracket;
        ++depth_;
    }

    void startMember(bool& isFirst) {
        startLine(isFirst ? "" : ",");
        isFirst = false;
    }

    void close(char bracket, bool isEmpty) {
        --depth_;
        if (!isEmpty) {
            startLine("");
        }
        text_ += bracket;
    }

    void startLine(std::string_view before) {
        text_ += before;
        if (isPretty_) {
            text_.append(1 + depth_ * 2, ' ');
            text_[text_.size() - 1 - depth_ * 2] = '\n';
        }
    }

    void printNumber(double number) {
        if (!std::isfinite(number)) {
            text_ += "null";
            return;
        }
        std::array<char, 32> digits{};
        // The shortest form would write a round instant as 1.5148e+12, which readers of milliseconds do not
        // expect.
        const double size = std::fabs(number);
        const bool isPlain = size >= kSmallestPlainNumber && size < kLargestPlainNumber;
        const auto written = isPlain ? std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                                     std::chars_format::fixed)
                                     : std::to_chars(digits.data(), digits.data() + digits.size(), number);
        text_.append(digits.data(), written.ptr);
    }

    void printText(std::string_view text, std::string_view end = "\"") {
        text_ += '"';
        while (true) {
            const std::size_t plain = plainLength(text);
            text_.append(text, 0, plain);
            text.remove_prefix(plain);
            if (text.empty()) {
                break;
            }
            const std::string_view before = text;
            const char32_t character = takeFirstCharacter(text);
            const auto octets = before.substr(0, before.size() - text.size());
            printCharacter(character, octets);
        }
        text_ += end;
    }

    void printCharacter(char32_t character, std::string_view octets) {
        switch (character) {
            case '"': text_ += "\\\""; return;
            case '\\': text_ += "\\\\"; return;
            case '\n': text_ += "\\n"; return;
            case '\r': text_ += "\\r"; return;
            case '\t': text_ += "\\t"; return;
            default: break;
        }
        if (character < 0x20) {
            text_ += "\\u00";
            appendHexadecimal(text_, static_cast<unsigned char>(character));
        } else if (character == 0xFFFD) {
            // Whether the text holds it or it stands for an octet that is not UTF-8.
            text_ += "\xEF\xBF\xBD";
        } else {
            text_ += octets;
        }
    }

    std::string text_;
    std::size_t depth_ = 0;
    bool isPretty_;
};

class PrintableCheck {
public:
    explicit PrintableCheck(int levelsLeft) : levelsLeft_(levelsLeft) {}

    bool operator()(std::monostate) const { return true; }
    bool operator()(bool) const { return true; }
    bool operator()(std::int64_t) const { return true; }
    bool operator()(double number) const { return std::isfinite(number); }
    bool operator()(const std::string& text) const { return isValidUTF8(text); }
    bool operator()(const Data&) const { return false; }
    bool operator()(const Date&) const { return false; }

    bool operator()(const Array& array) const {
        if (levelsLeft_ == 0) {
            return false;
        }
        for (const Value& element : array) {
            if (!element.visit(PrintableCheck(levelsLeft_ - 1))) {
                return false;
            }
        }
        return true;
    }

    bool operator()(const Dictionary& dictionary) const {
        if (levelsLeft_ == 0) {
            return false;
        }
        for (const auto& [key, value] : dictionary) {
            if (!isValidUTF8(key) || !value.visit(PrintableCheck(levelsLeft_ - 1))) {
                return false;
            }
        }
        return true;
    }

private:
    int levelsLeft_;
};

}  // namespace

std::string printJSON(const Value& value, JSONLayout layout) {
    Printer printer(layout);
    value.visit(printer);
    return printer.take();
}

std::string printJSON(const Dictionary& dictionary, JSONLayout layout) {
    Printer printer(layout);
    printer(dictionary);
    return printer.take();
}

bool isPrintableAsJSON(const Value& value) {
    return value.visit(PrintableCheck(kDeepestJSON));
}

bool isPrintableAsJSON(const Dictionary& dictionary) {
    return PrintableCheck(kDeepestJSON)(dictionary);
}

}  // namespace xel
