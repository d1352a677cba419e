#include "sandbox/rest/RestMessage.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

#include "sandbox/relay/Hexadecimal.h"

namespace xel::sandbox {

namespace {

std::string decodePercent(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            if (const std::optional<char> byte = byteOfHexDigits(text[i + 1], text[i + 2])) {
                decoded += *byte;
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

// Calls `take` with each piece of `text` between separators.
template <typename Take>
void forEachPiece(std::string_view text, char separator, Take take) {
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        take(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
}

}  // namespace

RestResponse makeErrorResponse(unsigned status, const std::string& message) {
    return RestResponse{status, Json{{"error", Json{{"status", status}, {"message", message}}}}};
}

void parseTarget(std::string_view target, RestRequest& request) {
    const std::size_t mark = target.find('?');
    forEachPiece(target.substr(0, mark), '/', [&request](std::string_view piece) {
        if (!piece.empty()) {
            request.path.push_back(decodePercent(piece));
        }
    });
    if (mark == std::string_view::npos) {
        return;
    }
    forEachPiece(target.substr(mark + 1), '&', [&request](std::string_view piece) {
        const std::size_t equals = piece.find('=');
        std::string value =
            equals == std::string_view::npos ? std::string() : decodePercent(piece.substr(equals + 1));
        request.query.insert_or_assign(decodePercent(piece.substr(0, equals)), std::move(value));
    });
}

std::string formatHttpDate(std::time_t time) {
    // Not by strftime(3), whose names are those of the process's locale; the date of HTTP is English
    // (RFC 9110 section 5.6.7).
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

RestResponse makeNoObjectResponse() {
    return makeErrorResponse(400, "the body is not a JSON object");
}

RestResponse makeMethodResponse(const std::string& allowed) {
    RestResponse response = makeErrorResponse(405, "this route knows only " + allowed);
    response.allow = allowed;
    return response;
}

}  // namespace xel::sandbox
