#include "XelPushClient/Linux/Push/UnifiedPushRules.h"

#include <algorithm>
#include <cstddef>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

constexpr std::size_t kLongestBusName = 255;
constexpr std::size_t kLongestToken = 100;
constexpr std::size_t kLongestEndpoint = 1000;
constexpr std::string_view kDistributorPrefix = "org.unifiedpush.Distributor.";

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isNameCharacter(char character) {
    return isDigit(character) || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_' || character == '-';
}

std::optional<std::string> firstOf(const std::vector<std::string>& names) {
    const auto first = std::min_element(names.begin(), names.end());
    return first != names.end() ? std::optional(*first) : std::nullopt;
}

}  // namespace

NSError makeUnifiedPushError(UnifiedPushErrorCode code, const std::string& description) {
    return makeError(kUnifiedPushErrorDomain, static_cast<std::int64_t>(code), description);
}

bool isBusName(std::string_view name) {
    const auto elements = splitString(name, ".");
    return name.size() <= kLongestBusName && elements.size() >= 2 &&
           std::all_of(elements.begin(), elements.end(), [](std::string_view element) {
               return !element.empty() && !isDigit(element.front()) &&
                      std::all_of(element.begin(), element.end(), isNameCharacter);
           });
}

bool isDistributorName(std::string_view name) {
    return name.starts_with(kDistributorPrefix) && isBusName(name);
}

bool isConnectionToken(std::string_view text) {
    return !text.empty() && text.size() <= kLongestToken;
}

bool isPushEndpoint(std::string_view text) {
    if (text.size() > kLongestEndpoint ||
        std::any_of(text.begin(), text.end(), [](char c) { return c <= ' ' || c == '\x7F'; })) {
        return false;
    }
    for (const std::string_view scheme : {"https://", "http://"}) {
        if (text.starts_with(scheme)) {
            const auto rest = text.substr(scheme.size());
            return !rest.empty() && rest.find_first_of("/?#") != 0;
        }
    }
    return false;
}

std::optional<std::string> chosenDistributor(const DistributorNames& names, std::string_view preferred,
                                             std::string_view remembered) {
    const auto isThere = [&](std::string_view name) {
        return std::find(names.running.begin(), names.running.end(), name) != names.running.end() ||
               std::find(names.activatable.begin(), names.activatable.end(), name) != names.activatable.end();
    };
    for (const auto wanted : {preferred, remembered}) {
        if (isThere(wanted)) {
            return std::string(wanted);
        }
    }
    const auto running = firstOf(names.running);
    return running ? running : firstOf(names.activatable);
}

}  // namespace xel
