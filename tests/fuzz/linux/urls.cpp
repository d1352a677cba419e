// URLs, media types and what else of the network ends in an address, a file's name or a query.
//
// Input: a line with a URL, one with a media type, one with a list of hosts without a proxy, then JSON that
// is to be a query.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Notifications/MediaTypes.h"
#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Linux/HTTP/CurlReach.h"
#include "XelPushClient/Linux/HTTP/CurlURL.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "XelPushClient/LoopBack/QueryString.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/FuzzValues.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

bool isVisible(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7F'; });
}

void checkURL(const std::string& url) {
    const auto origin = originOfURL(url);
    if (!origin) {
        return;
    }
    require(isVisible(url), "what is asked may stand in a request line");
    require(!origin->hasHTTPScheme() || !origin->host.empty(), "somebody is asked");
    require(!origin->hasHTTPScheme() || originOfURL(origin->text()) == origin,
            "an origin is that of its own text");
    require(
        std::none_of(origin->host.begin(), origin->host.end(), [](char c) { return c >= 'A' && c <= 'Z'; }),
        "hosts are compared in small letters");
    require(origin->host.find_first_of("/?#@\\") == std::string::npos, "a host is nothing but a host");
    require(!origin->isLoopback() || !networkKindOfLiteral(origin->host) ||
                networkKindOfLiteral(origin->host) == NetworkKind::Loopback,
            "this machine's address is this machine's");
    if (hasUserInfo(url) && origin->hasHTTPScheme()) {
        require(url.find('@') != std::string::npos, "a user stands before an @");
    }
}

void checkEndpoint(const std::string& url) {
    if (isPushEndpoint(url)) {
        require(isVisible(url) && url.size() <= 1000, "an endpoint may stand in a request line");
        require(url.starts_with("http://") || url.starts_with("https://"), "an endpoint is asked by HTTP");
    }
}

void checkMediaType(const std::string& mediaType) {
    const std::string extension = extensionForFileName(fileExtensionForMediaType(mediaType));
    require(extension.starts_with('.') && extension.size() <= 32, "an extension is short");
    require(std::all_of(extension.begin(), extension.end(),
                        [](char c) {
                            return isVisible({&c, 1}) && c != '/' && c != '\\' && c != '%';
                        }),
            "an extension names no folder");
}

void checkProxy(const std::string& url, const std::string& list) {
    (void)isWithoutProxy(url, list);
    require(isWithoutProxy(url, "*"), "a star is everybody");
    const auto origin = originOfURL(url);
    const std::string host = origin ? origin->host : "";
    const bool isName = std::all_of(host.begin(), host.end(), [](char c) { return c >= 'a' && c <= 'z'; });
    require(host.empty() || !isName || isWithoutProxy(host, host), "a host that is listed needs no proxy");
}

void checkQuery(std::string_view json) {
    const std::string query = queryString(fuzz::dictionaryOfText(json));
    require(isVisible(query) && query.find_first_of("#?/ \"<>") == std::string::npos,
            "a query may stand in a request line");
}

void checkBase64(const std::string& text) {
    if (const auto octets = octetsOfBase64URL(text)) {
        require(base64URLOf(*octets) == text, "octets have one text");
    }
    const Data octets(text.begin(), text.end());
    require(octetsOfBase64URL(base64URLOf(octets)) == octets, "octets come back from their text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::string url = input.line();
    const std::string mediaType = input.line();
    checkURL(url);
    checkEndpoint(url);
    checkMediaType(mediaType);
    checkBase64(mediaType);
    checkProxy(url, input.line());
    checkQuery(input.rest());
    return 0;
}
