#include "XelPushClient/Foundation/Date.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace xel {
namespace {

constexpr double kReferenceDate = 978307200.0;  // 1 January 2001, in seconds since 1970

}  // namespace

Date dateFromSecondsSince1970(double seconds) {
    return Date(std::chrono::duration<double>(seconds));
}

Date dateFromMillisecondsSince1970(double milliseconds) {
    return dateFromSecondsSince1970(milliseconds / 1000.0);
}

double secondsSince1970(Date date) {
    return date.time_since_epoch().count();
}

double millisecondsSince1970(Date date) {
    return secondsSince1970(date) * 1000.0;
}

Date dateFromSecondsSinceReferenceDate(double seconds) {
    return dateFromSecondsSince1970(seconds + kReferenceDate);
}

double secondsSinceReferenceDate(Date date) {
    return secondsSince1970(date) - kReferenceDate;
}

std::string describeDate(Date date) {
    constexpr double kFirstSecondOfYearZero = -62167219200.0;
    constexpr double kFirstSecondOfYearTenThousand = 253402300800.0;
    const double seconds = std::floor(secondsSince1970(date));
    std::array<char, 64> text{};
    // Not-a-number compares with nothing and so is outside too.
    const bool inCalendar = seconds >= kFirstSecondOfYearZero && seconds < kFirstSecondOfYearTenThousand;
    if (!inCalendar) {
        std::snprintf(text.data(), text.size(), "%f", secondsSince1970(date));
        return text.data();
    }
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm calendar{};
    if (gmtime_r(&whole, &calendar) == nullptr) {
        return {};
    }
    // Not strftime: its year has no leading zeros.
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d +0000", calendar.tm_year + 1900,
                  calendar.tm_mon + 1, calendar.tm_mday, calendar.tm_hour, calendar.tm_min, calendar.tm_sec);
    return text.data();
}

}  // namespace xel
