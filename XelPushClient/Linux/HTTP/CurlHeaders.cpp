#include "XelPushClient/Linux/HTTP/CurlHeaders.h"

#include <algorithm>
#include <utility>

namespace xel {

namespace {

bool isLetterOrDigit(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9');
}

bool isTokenCharacter(char character) {
    constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
    return isLetterOrDigit(character) || kMarks.find(character) != std::string_view::npos;
}

bool isValueCharacter(char character) {
    const auto octet = static_cast<unsigned char>(character);
    return octet == '\t' || (octet >= 0x20 && octet != 0x7F);
}

std::string_view trim(std::string_view text) {
    constexpr std::string_view kWhiteSpace = " \t\r\n";
    const auto first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

bool isHeaderToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool isHeaderValue(std::string_view text) {
    return std::all_of(text.begin(), text.end(), isValueCharacter);
}

std::optional<std::pair<std::string, std::string>> parseHeaderLine(std::string_view line) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || !isHeaderToken(line.substr(0, colon))) {
        return std::nullopt;
    }
    return std::pair{std::string(line.substr(0, colon)), std::string(trim(line.substr(colon + 1)))};
}

bool CurlHeaderBlock::take(std::string_view line) {
    octets_ += line.size();
    if (octets_ > kLargest) {
        return false;
    }
    if (line.starts_with("HTTP/")) {
        fields_.clear();
        isWhole_ = false;
    } else if (line == "\r\n" || line == "\n") {
        isWhole_ = true;
    } else if (auto field = parseHeaderLine(line)) {
        fields_.push_back(std::move(*field));
    }
    return true;
}

}  // namespace xel
