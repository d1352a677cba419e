#include "sandbox/rest/HttpDate.h"

#include <array>
#include <cstdio>

namespace xel::sandbox {

std::string formatHttpDate(std::time_t time) {
    static constexpr std::array<const char*, 7> kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    std::array<char, 64> text{};
    const int length = std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                                     kDays.at(static_cast<std::size_t>(parts.tm_wday)), parts.tm_mday,
                                     kMonths.at(static_cast<std::size_t>(parts.tm_mon)), parts.tm_year + 1900,
                                     parts.tm_hour, parts.tm_min, parts.tm_sec);
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace xel::sandbox
