// Push messages on their way through the local service: the token of an installation, its endpoint, the
// payload of a message that waits, and what comes to the distributor by HTTP and D-Bus.
//
// Input: lines with a token's text, an endpoint, a method, a target and a time to live; then a message.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sdbus-c++/Types.h>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "sandbox/distributor/DistributorBus.h"
#include "sandbox/distributor/PushServer.h"
#include "sandbox/push/PushPayload.h"
#include "sandbox/push/PushToken.h"
#include "sandbox/push/WebPushEncryption.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

constexpr std::string_view kEndpoint = "0123456789abcdef";

void checkToken(const std::string& text) {
    (void)sandbox::parsePushToken(text);
    const auto token = sandbox::parsePushToken(hexadecimal({text.begin(), text.end()}));
    if (!token) {
        return;
    }
    require(!token->endpoint.empty(), "a token has an endpoint");
    require(token->receiver.publicKey.size() == sandbox::kPushPublicKeyLength &&
                token->receiver.authSecret.size() == sandbox::kPushAuthSecretLength,
            "a token's keys have their lengths");
}

void checkEndpoint(const std::string& url) {
    const auto endpoint = sandbox::parseLoopbackEndpoint(url);
    if (!endpoint) {
        return;
    }
    require(endpoint->host == "localhost" || endpoint->host.starts_with("127.") ||
                endpoint->host.find(':') != std::string::npos,
            "an endpoint is on this machine");
    require(endpoint->port != 0, "an endpoint has a port");
    require(
        endpoint->target.starts_with('/') && endpoint->target.find_first_of(" \r\n\t#") == std::string::npos,
        "a target may stand in a request line");
}

void checkPayload(std::string_view message) {
    const auto object = sandbox::parseJsonObject(message);
    if (!object) {
        return;
    }
    const std::string payload = sandbox::composePushPayload(*object);
    require(payload.size() <= sandbox::kLargestPushText, "a payload fits a push message");
    const auto read = SimpleJSONSerialization().JSONObjectWithData(payload);
    const Dictionary* const said = read ? read.value().asDictionary() : nullptr;
    require(said != nullptr && said->find("aps") != nullptr && said->find("aps")->asDictionary() != nullptr,
            "a client reads the payload");
    const Dictionary& aps = *said->find("aps")->asDictionary();
    require(aps.contains("alert") != aps.contains("content-available"), "it alerts, or it is silent");
    const auto silent = object->find("silent");
    require(silent == object->end() || *silent != true || !aps.contains("alert"),
            "a silent message alerts nobody");
}

void checkRequest(const sandbox::PushRequest& request) {
    std::size_t taken = 0;
    const auto response = sandbox::answerPushRequest(
        request, [](const std::string& endpoint) { return endpoint == kEndpoint; },
        [&](const std::string& endpoint, const std::string& body, std::chrono::seconds timeToLive) {
            ++taken;
            require(endpoint == kEndpoint, "a message goes to its endpoint");
            require(!body.empty() && body.size() <= sandbox::kLargestPushBody, "a message has its size");
            require(timeToLive >= std::chrono::seconds(0) && timeToLive <= sandbox::kLongestKept,
                    "time is bounded");
            return true;
        });
    require(taken == (response.status == 201 ? 1U : 0U), "what is answered for was taken");
    require(response.status == 201 || response.status == 200 || response.status == 400 ||
                response.status == 404 || response.status == 405 || response.status == 413,
            "an answer is one of these");
    require(response.timeToLive.has_value() == (response.status == 201),
            "a time is granted to what was taken");
}

void checkRegistration(const std::string& service, const std::string& token, const std::string& vapid) {
    if (!isValidUTF8(service + token + vapid) || (service + token + vapid).find('\0') != std::string::npos) {
        return;  // no text of D-Bus
    }
    std::map<std::string, sdbus::Variant> fields{{"service", sdbus::Variant(service)},
                                                 {"token", sdbus::Variant(token)},
                                                 {"vapid", sdbus::Variant(vapid)}};
    const auto registration = sandbox::readRegistration(fields);
    require(registration.has_value() == (vapid.empty() || vapid.size() == 87), "a key has its length");
    require(!registration || (registration->service == service && registration->token == token),
            "a registration is the one that was asked for");
    fields["token"] = sdbus::Variant(std::int64_t{1});
    require(!sandbox::readRegistration(fields), "a token is a text");
    (void)sandbox::outcomeOf(service);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::string token = input.line();
    const std::string endpoint = input.line();
    sandbox::PushRequest request;
    request.method = input.line();
    request.target = input.line();
    const std::string timeToLive = input.line();
    if (!timeToLive.empty()) {
        request.timeToLive = timeToLive;
    }
    request.body = std::string(input.rest());
    checkToken(token);
    checkEndpoint(endpoint);
    checkPayload(request.body);
    checkRequest(request);
    checkRegistration(request.method, token, timeToLive);
    return 0;
}
