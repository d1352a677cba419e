#include "XelPushClient/Foundation/Date.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "XelPushClient/Foundation/Value.h"

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

std::int64_t wholeMillisecondsSince1970(Date date) {
    return Value(millisecondsSince1970(date)).integer().value_or(0);
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
    // Not the C library's calendar: it ends in 2038 where `time_t` has 32 bits, and on Windows begins in
    // 1970.
    const std::chrono::sys_time<std::chrono::seconds> whole{
        std::chrono::seconds(static_cast<std::int64_t>(seconds))};
    const auto midnight = std::chrono::floor<std::chrono::days>(whole);
    const std::chrono::year_month_day day(midnight);
    const std::chrono::hh_mm_ss time(whole - midnight);
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d +0000",
                  static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                  static_cast<unsigned>(day.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
    return text.data();
}

}  // namespace xel
