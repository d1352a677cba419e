// The head of an HTTP answer, line by line as libcurl hands it over, and where its redirects lead: a field
// is what stands in its line, interim answers leave nothing, no request goes where it must not.
//
// Input: a line with the URL that is asked, one with the status; then the head. Its "Location" is the
// redirect's.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/HTTP/CurlHeaders.h"
#include "XelPushClient/Linux/HTTP/CurlRedirects.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kToken = "access_token=nobody-may-read";

/// A line's field, read once more: a name of visible characters that are no separators, a colon, a value.
bool isField(std::string_view line) {
    const auto isNameCharacter = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    };
    const auto colon = std::min(line.find(':'), line.size());
    return colon > 0 && colon < line.size() &&
           std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon), isNameCharacter);
}

HTTPHeaders checkHead(std::string_view head) {
    CurlHeaderBlock block;
    std::size_t fields = 0;
    std::size_t octets = 0;
    bool isTaken = true;
    while (!head.empty() && isTaken) {
        const auto line = head.substr(0, std::min(head.find('\n'), head.size() - 1) + 1);
        head.remove_prefix(line.size());
        octets += line.size();
        isTaken = block.take(line);
        require(isTaken == (octets <= CurlHeaderBlock::kLargest), "a head is bounded");
        fields = line.starts_with("HTTP/") ? 0 : fields + (isField(line) ? 1 : 0);
    }
    HTTPHeaders read = block.takeFields();
    require(!isTaken || read.size() == fields, "a head has the fields of its last answer");
    for (const auto& [name, value] : read) {
        require(isHeaderToken(name), "a field has a name");
        require(value.empty() || (kBlanks.find(value.front()) == std::string_view::npos &&
                                  kBlanks.find(value.back()) == std::string_view::npos),
                "a value begins and ends with something");
        require(value.find('\n') == std::string::npos, "a value is in one line");
    }
    return read;
}

std::string fieldNamed(const HTTPHeaders& headers, std::string_view wanted) {
    for (const auto& [name, value] : headers) {
        if (lowerCase(name) == wanted) {
            return value;
        }
    }
    return {};
}

void checkRedirect(const std::string& url, long status, const std::string& target, bool followsToOthers) {
    const auto from = originOfURL(url);
    if (!from || !from->hasHTTPScheme() || !isRedirect(status)) {
        return;
    }
    CurlHTTPOptions options;
    options.followsToOtherOrigins = followsToOthers;
    HTTPRequest request{
        "POST", url + "?" + std::string(kToken), {{"Content-Type", "application/json"}}, "{}"};
    URLOrigin origin = *from;
    CurlRedirects redirects(options);
    for (int count = 0;; ++count) {
        require(count <= options.mostRedirects, "redirects come to an end");
        const auto followed = redirects.follow(request, origin, status, target);
        if (!followed || !followed.value()) {
            require(
                followed.isOk() || followed.error().localizedDescription().find(kToken) == std::string::npos,
                "no error tells a token");
            break;
        }
        require(originOfURL(request.url) == origin && origin.hasHTTPScheme(),
                "the origin is that of the URL");
        require(followsToOthers || origin == *from, "a request stays with whom it was for");
        require(from->scheme == "http" || origin.scheme == "https", "nothing leads out of TLS");
        const bool isGet = request.method == "GET";
        require(isGet == request.body.empty() && isGet == request.headers.empty(), "a GET has no body");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::string url = input.line();
    long status = 0;
    for (const char digit : input.line().substr(0, 3)) {
        status = status * 10 + (digit - '0');
    }
    const HTTPHeaders headers = checkHead(input.rest());
    const std::string target = fieldNamed(headers, "location");
    checkRedirect(url, status, target, false);
    checkRedirect(url, status, target, true);
    return 0;
}
