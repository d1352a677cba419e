#include "sandbox/distributor/Registration.h"

#include <algorithm>

namespace xel::sandbox {
namespace {

constexpr std::size_t kLongestServiceName = 255;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isElement(std::string_view element) {
    return !element.empty() && !isDigit(element.front()) &&
           std::all_of(element.begin(), element.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '_' || c == '-';
           });
}

}  // namespace

bool isServiceName(std::string_view name) {
    if (name.size() > kLongestServiceName) {
        return false;
    }
    std::size_t count = 0;
    while (true) {
        const std::size_t dot = name.find('.');
        if (!isElement(name.substr(0, dot))) {
            return false;
        }
        ++count;
        if (dot == std::string_view::npos) {
            return count >= 2;
        }
        name.remove_prefix(dot + 1);
    }
}

bool isRegistration(const Registration& asked) {
    return isServiceName(asked.service) && !asked.token.empty() && asked.token.size() <= kLongestToken &&
           asked.description.size() <= kLongestDescription;
}

}  // namespace xel::sandbox
