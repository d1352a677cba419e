#include "XelPushClient/Linux/Desktop/NotificationMarkup.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace xel {

namespace {

constexpr std::array<std::string_view, 5> kElements{"b", "i", "u", "a", "img"};
constexpr std::size_t kLongestElement = 3;

/// Whether what stands between "<" and ">" is a tag of the markup's.
bool isTag(std::string_view inside) {
    if (inside.starts_with('/')) {
        inside.remove_prefix(1);
    }
    const std::string_view name = inside.substr(0, kLongestElement + 1);
    return std::find(kElements.begin(), kElements.end(), name.substr(0, name.find_first_of(" \t\n/"))) !=
           kElements.end();
}

}  // namespace

std::string escapedForMarkup(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        switch (character) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            case '\'': escaped += "&#39;"; break;
            default: escaped += character;
        }
    }
    return escaped;
}

// Each octet is looked at a fixed number of times, whatever the text: where the next ">" is stays known until
// it is passed, and an element's name is short.
std::string withoutMarkup(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    std::size_t end = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '<') {
            end = end <= at ? text.find('>', at) : end;
            if (end != std::string_view::npos && isTag(text.substr(at + 1, end - at - 1))) {
                at = end;
                continue;
            }
        }
        plain += text[at];
    }
    return plain;
}

}  // namespace xel
