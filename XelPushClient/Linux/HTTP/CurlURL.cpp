#include "XelPushClient/Linux/HTTP/CurlURL.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include <curl/curl.h>

#include "XelPushClient/Linux/Network/NetworkKind.h"

namespace xel {

namespace {

struct URLCleanup {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

using ParsedURL = std::unique_ptr<CURLU, URLCleanup>;

/// Null for a text that is no absolute URL.
ParsedURL parseURL(std::string_view url) {
    ParsedURL parsed(curl_url());
    // Other schemes are taken too, so that whoever refuses one can name it.
    if (parsed != nullptr && curl_url_set(parsed.get(), CURLUPART_URL, std::string(url).c_str(),
                                          CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        parsed.reset();
    }
    return parsed;
}

bool isHTTP(std::string_view scheme) {
    return scheme == "http" || scheme == "https";
}

bool mayStandInURL(char character) {
    const auto octet = static_cast<unsigned char>(character);
    return octet > 0x20 && octet < 0x7F;
}

/// A '%' that is left after decoding would be decoded again by the next reader, who would ask another host.
bool mayStandInDecodedHost(char character) {
    return mayStandInURL(character) && character != '%';
}

std::optional<std::string> part(CURLU* url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) {
        return std::nullopt;
    }
    std::string copy(text);
    curl_free(text);
    return copy;
}

std::optional<URLOrigin> readOrigin(std::string_view url) {
    if (!std::all_of(url.begin(), url.end(), mayStandInURL)) {
        return std::nullopt;
    }
    const ParsedURL parsed = parseURL(url);
    if (parsed == nullptr) {
        return std::nullopt;
    }
    auto scheme = part(parsed.get(), CURLUPART_SCHEME);
    auto host = part(parsed.get(), CURLUPART_HOST);
    if (!scheme || (isHTTP(*scheme) && (!host || host->empty()))) {
        return std::nullopt;
    }
    host = host.value_or("");
    if (!std::all_of(host->begin(), host->end(), mayStandInDecodedHost)) {
        return std::nullopt;
    }
    std::transform(host->begin(), host->end(), host->begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return URLOrigin{std::move(*scheme), std::move(*host), part(parsed.get(), CURLUPART_PORT).value_or("")};
}

}  // namespace

std::string URLOrigin::text() const {
    return scheme + "://" + host + ':' + port;
}

bool URLOrigin::hasHTTPScheme() const {
    return isHTTP(scheme);
}

bool URLOrigin::isLoopback() const {
    return isLoopbackHost(host);
}

std::optional<URLOrigin> originOfURL(std::string_view url) {
    auto origin = readOrigin(url);
    // A host that is decoded is read once more: only then is a number seen to be an address.
    const bool mayBeDecoded = origin && origin->hasHTTPScheme() && url.find('%') != std::string_view::npos;
    return mayBeDecoded ? readOrigin(origin->text()) : origin;
}

bool hasUserInfo(std::string_view url) {
    const ParsedURL parsed = parseURL(url);
    return parsed != nullptr &&
           (part(parsed.get(), CURLUPART_USER) || part(parsed.get(), CURLUPART_PASSWORD));
}

}  // namespace xel
