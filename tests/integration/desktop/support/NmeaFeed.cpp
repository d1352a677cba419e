#include "tests/integration/desktop/support/NmeaFeed.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace xel::test {
namespace {

constexpr int kPause = 200;  // milliseconds between two positions

std::string framed(const std::string& body) {
    unsigned checksum = 0;
    for (const char letter : body) {
        checksum ^= static_cast<unsigned char>(letter);
    }
    std::array<char, 8> end{};
    std::snprintf(end.data(), end.size(), "*%02X\r\n", checksum);
    return "$" + body + end.data();
}

/// Degrees, minutes and hemisphere: "3542.00000,N".
std::string angle(double degrees, int digits, const char* hemispheres) {
    const double size = std::abs(degrees);
    const double whole = std::floor(size);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%0*d%08.5f,%c", digits, static_cast<int>(whole),
                  (size - whole) * 60.0, hemispheres[degrees < 0 ? 1 : 0]);
    return text.data();
}

std::string timeText(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::tm calendar{};
    gmtime_r(&now, &calendar);
    std::array<char, 16> text{};
    const auto length = std::strftime(text.data(), text.size(), format, &calendar);
    return {text.data(), length};
}

}  // namespace

NmeaFeed::NmeaFeed(const std::string& path) : listening_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (::bind(listening_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listening_, 4) != 0) {
        ::close(listening_);
        throw std::runtime_error("no receiver can listen at " + path);
    }
    thread_ = std::thread([this] { run(); });
}

NmeaFeed::~NmeaFeed() {
    isEnding_ = true;
    thread_.join();
    for (const int listener : listeners_) {
        ::close(listener);
    }
    ::close(listening_);
}

void NmeaFeed::moveTo(const Place& place) {
    const std::lock_guard lock(mutex_);
    place_ = place;
}

void NmeaFeed::run() {
    while (!isEnding_) {
        pollfd watched{listening_, POLLIN, 0};
        if (::poll(&watched, 1, kPause) > 0) {
            listeners_.push_back(::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC));
        }
        const auto text = sentences();
        for (const int listener : listeners_) {
            (void)::send(listener, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        }
    }
}

std::string NmeaFeed::sentences() {
    const std::lock_guard lock(mutex_);
    if (!place_) {
        return {};
    }
    const auto time = timeText("%H%M%S.00");
    const auto place =
        angle(place_->coordinate.latitude, 2, "NS") + "," + angle(place_->coordinate.longitude, 3, "EW");
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "%.1f", place_->dilution);
    auto text = framed("GPGGA," + time + "," + place + ",1,08," + number.data() + ",1200.0,M,0.0,M,,");
    if (place_->knots) {
        std::snprintf(number.data(), number.size(), "%.2f", *place_->knots);
        text += framed("GPRMC," + time + ",A," + place + "," + number.data() + ",045.0," +
                       timeText("%d%m%y") + ",,");
    }
    return text;
}

}  // namespace xel::test
