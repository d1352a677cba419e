#include "XelPushClient/Foundation/DecimalText.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace xel {
namespace {

/// No double lies between two numbers that agree so far: what follows only matters for being there at all.
constexpr std::size_t kDecisiveDigits = 770;
/// Beyond every exponent that any text in memory could make good by its number of digits.
constexpr std::int64_t kLargestExponent = std::int64_t{1} << 60;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Takes the text apart into digits without a point and the power of ten that they are multiplied by.
class DecimalReader {
public:
    explicit DecimalReader(std::string_view text) : text_(text) {}

    LeadingDecimal read() {
        const bool isNegative = at_ < text_.size() && text_[at_] == '-';
        at_ += isNegative ? 1 : 0;
        if (!readDigits()) {
            return {};
        }
        readExponent();
        return {isNegative ? -magnitude() : magnitude(), at_};
    }

private:
    bool readDigits() {
        bool any = false;
        bool afterPoint = false;
        for (; at_ < text_.size(); ++at_) {
            const char character = text_[at_];
            if (isDigit(character)) {
                any = true;
                power_ -= afterPoint ? 1 : 0;
                addDigit(character);
            } else if (character == '.' && !afterPoint) {
                afterPoint = true;
            } else {
                break;
            }
        }
        return any;
    }

    void addDigit(char digit) {
        if (digits_.empty() && digit == '0') {
            return;
        }
        if (digits_.size() < kDecisiveDigits) {
            digits_ += digit;
            return;
        }
        ++power_;
        isCut_ = isCut_ || digit != '0';
    }

    /// An "e" with no digits behind it belongs to what follows the number.
    void readExponent() {
        auto at = at_;
        if (at == text_.size() || (text_[at] != 'e' && text_[at] != 'E')) {
            return;
        }
        ++at;
        const bool isNegative = at < text_.size() && text_[at] == '-';
        at += at < text_.size() && (isNegative || text_[at] == '+') ? 1 : 0;
        if (at == text_.size() || !isDigit(text_[at])) {
            return;
        }
        std::int64_t exponent = 0;
        for (; at < text_.size() && isDigit(text_[at]); ++at) {
            if (exponent < kLargestExponent / 10) {
                exponent = exponent * 10 + (text_[at] - '0');
            }
        }
        power_ += isNegative ? -exponent : exponent;
        at_ = at;
    }

    /// The C library's reader rounds rightly everywhere. All that a locale changes for it is the point, and
    /// there is none.
    [[nodiscard]] double magnitude() const {
        if (digits_.empty()) {
            return 0;
        }
        auto text = digits_;
        auto power = power_;
        if (isCut_) {
            text += '1';
            --power;
        }
        text += 'e';
        text += std::to_string(power);
        return std::strtod(text.c_str(), nullptr);
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string digits_;
    std::int64_t power_ = 0;
    bool isCut_ = false;
};

}  // namespace

LeadingDecimal readLeadingDecimal(std::string_view text) {
    return DecimalReader(text).read();
}

}  // namespace xel
