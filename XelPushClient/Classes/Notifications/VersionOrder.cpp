#include "XelPushClient/Classes/Notifications/VersionOrder.h"

namespace xel {
namespace {

bool isDigit(char octet) {
    return octet >= '0' && octet <= '9';
}

/// Takes the run of digits off the front, without its leading zeros.
std::string_view takeNumber(std::string_view& text) {
    while (text.size() > 1 && text[0] == '0' && isDigit(text[1])) {
        text.remove_prefix(1);
    }
    std::size_t length = 0;
    while (length < text.size() && isDigit(text[length])) {
        ++length;
    }
    const auto number = text.substr(0, length);
    text.remove_prefix(length);
    return number;
}

}  // namespace

bool isVersionLower(std::string_view version, std::string_view other) {
    while (!version.empty() && !other.empty()) {
        if (isDigit(version.front()) && isDigit(other.front())) {
            const auto left = takeNumber(version);
            const auto right = takeNumber(other);
            // Without leading zeros the longer number is the greater one, however long it is.
            if (left.size() != right.size()) {
                return left.size() < right.size();
            }
            if (left != right) {
                return left < right;
            }
            continue;
        }
        if (version.front() != other.front()) {
            return version.front() < other.front();
        }
        version.remove_prefix(1);
        other.remove_prefix(1);
    }
    return version.empty() && !other.empty();
}

}  // namespace xel
