#include "tools/doctor/RestProbe.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>

#include <curl/curl.h>
#include <strings.h>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kAnswerPatience = 10s;
/// Beyond it messages expire too early or too late for somebody to wonder.
constexpr std::time_t kMostSecondsApart = 30;

constexpr const char* kRest = "REST";
constexpr const char* kClock = "clock";

Result<HTTPResponse> ask(const ServiceAccess& access, const std::string& baseUrl) {
    const auto runLoop = std::make_shared<AsioRunLoop>();
    CurlHTTPOptions options;
    options.caFile = access.caFile;
    options.connectTimeout = kAnswerPatience;
    options.totalTimeout = kAnswerPatience;
    CurlHTTPTransport transport(runLoop, std::move(options));
    std::optional<Result<HTTPResponse>> outcome;
    transport.send({.method = "GET",
                    .url = baseUrl + "/installations/doctor?access_token=" + encodeUrlString(access.apiKey),
                    .headers = {{"Accept", "application/json"}},
                    .body = {}},
                   [&](const Result<HTTPResponse>& response) {
                       outcome = response;
                       runLoop->stop();
                   });
    runLoop->run();
    return *outcome;
}

std::optional<std::string> headerOf(const HTTPResponse& response, const char* name) {
    const auto found =
        std::find_if(response.headers.begin(), response.headers.end(),
                     [&](const auto& header) { return ::strcasecmp(header.first.c_str(), name) == 0; });
    return found == response.headers.end() ? std::nullopt : std::optional(found->second);
}

std::string adviceFor(const NSError& error, const ServiceAccess& access) {
    if (error.code == static_cast<std::int64_t>(NSURLErrorCode::ServerCertificateUntrusted)) {
        return access.caFile.empty() ? "name the service's certificate authority in XELPUSH_CA_FILE"
                                     : "is " + access.caFile + " the service's certificate authority?";
    }
    return access.production ? "check the backend's address (XELPUSH_REST_SSL_URL)"
                             : "is the service running? start it: xelpush sandbox";
}

}  // namespace

Finding judgeToken(const HTTPResponse& response) {
    if (response.status == 401 || response.status == 403) {
        return foundFailed(kRest,
                           "the API key is refused (HTTP status " + std::to_string(response.status) + ")",
                           "check XELPUSH_API_KEY and the application id", ExitCode::CredentialsRefused);
    }
    // It answers 404 for an installation that nobody has: the key came through.
    if (response.status == 404 || (response.status >= 200 && response.status < 300)) {
        return foundWell(kRest, "reached, and the API key is accepted");
    }
    return foundFailed(kRest, "HTTP status " + std::to_string(response.status),
                       "is this the backend's address? Its own log may say more", ExitCode::Failure);
}

Finding judgeClock(const HTTPResponse& response, std::time_t now) {
    const std::optional<std::string> date = headerOf(response, "Date");
    const std::time_t told = date ? ::curl_getdate(date->c_str(), nullptr) : -1;
    if (told < 0) {
        return foundSkipped(kClock, "a Date in the backend's answer");
    }
    const std::time_t apart = now - told;
    const std::string difference =
        std::to_string(std::abs(apart)) + " s " + (apart < 0 ? "behind" : "ahead of") + " the backend's";
    if (std::abs(apart) > kMostSecondsApart) {
        return foundFailed(kClock, "this machine's clock is " + difference,
                           "set it, by a time service such as systemd-timesyncd", ExitCode::Failure);
    }
    return foundWell(kClock, apart == 0 ? "as the backend's" : difference);
}

Findings probeRest(const ServiceAccess& access) {
    const std::string baseUrl = restBaseURL(access.endpoints, access.appId, true);
    const Result<HTTPResponse> response = ask(access, baseUrl);
    if (!response) {
        return {foundFailed(kRest, baseUrl + ": " + response.error().localizedDescription(),
                            adviceFor(response.error(), access), ExitCode::CannotConnect),
                foundSkipped(kClock, kRest)};
    }
    Finding token = judgeToken(response.value());
    token.text = baseUrl + ": " + token.text;
    return {std::move(token), judgeClock(response.value(), std::time(nullptr))};
}

}  // namespace xel::tools
