#include "sandbox/distributor/PushRequest.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "sandbox/push/WebPushEncryption.h"

namespace xel::sandbox {
namespace {

constexpr std::string_view kPushPath = "/push/";

// Nothing for a text that is no number of seconds. One that is too large for the machine is very long.
std::optional<std::chrono::seconds> parseTimeToLive(const std::string& text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    std::int64_t seconds = 0;
    for (const char c : text) {
        seconds = std::min<std::int64_t>(seconds * 10 + (c - '0'), std::numeric_limits<std::int32_t>::max());
    }
    return std::min(std::chrono::seconds(seconds), kLongestKept);
}

PushResponse answerPost(const PushRequest& request, const std::string& endpoint, const TakePush& take) {
    if (request.body.size() > kLargestPushBody) {
        return makeTooLargeResponse();
    }
    const auto timeToLive = parseTimeToLive(request.timeToLive.value_or("0"));
    if (request.body.empty() || !timeToLive) {
        return {400, request.body.empty() ? "there is no message\n" : "TTL is no number of seconds\n"};
    }
    if (!take(endpoint, request.body, *timeToLive)) {
        return {404, "there is no such endpoint\n"};
    }
    return {201, {}, timeToLive};
}

}  // namespace

PushResponse answerPushRequest(const PushRequest& request, const KnowsEndpoint& knows, const TakePush& take) {
    const std::string endpoint =
        request.target.starts_with(kPushPath) ? request.target.substr(kPushPath.size()) : std::string();
    if (endpoint.empty() || !knows(endpoint)) {
        return {404, "there is no such endpoint\n"};
    }
    if (request.method == "POST") {
        return answerPost(request, endpoint, take);
    }
    if (request.method == "GET") {
        return {200, R"({"unifiedpush":{"version":1}})"};
    }
    PushResponse response{405, "an endpoint knows only GET and POST\n"};
    response.allow = "GET, POST";
    return response;
}

PushResponse makeTooLargeResponse() {
    return {413, "the message is larger than " + std::to_string(kLargestPushBody) + " bytes\n"};
}

}  // namespace xel::sandbox
