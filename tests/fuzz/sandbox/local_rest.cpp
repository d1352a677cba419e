// What comes to the local service's REST server: HTTP, taken apart and answered by the routes over a real
// store. Every request is answered once, no answer says that the service failed, and what it publishes a
// client can read.
//
// Input: HTTP requests, one behind the other.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "sandbox/process/HttpRequests.h"
#include "sandbox/process/ProgressLog.h"
#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/Json.h"
#include "sandbox/relay/Topics.h"
#include "sandbox/rest/MessageDesk.h"
#include "sandbox/rest/RestBackend.h"
#include "sandbox/rest/RestSession.h"
#include "sandbox/store/ServiceStores.h"
#include "tests/fuzz/support/Require.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace {

using namespace xel;
using fuzz::require;
namespace http = boost::beast::http;

constexpr std::size_t kMostRequests = 16;

void checkPublication(const sandbox::ServiceClient::Publication& publication) {
    require(isValidTopicName(publication.topic), "a topic is one that MQTT knows");
    require(publication.payload.size() <= sandbox::kLargestPayload, "a payload is bounded");
    SimpleJSONSerialization json;
    const auto message = PushClientMessage::fromPayload(publication.payload, json, std::nullopt, Date());
    require(message != nullptr, "what is published is a JSON object");
    if (sandbox::isMessageTopic("shop", publication.topic)) {
        require(message->id && message->serverTime && message->userId,
                "a message has what the service says of it");
        require(message->live == publication.live && message->stateful == publication.stateful,
                "a message says how it was sent");
    }
}

class Service {
public:
    void answer(const sandbox::RestRequest& request) {
        std::optional<sandbox::RestResponse> answer;
        std::size_t count = 0;
        backend_.handle(request, [&](sandbox::RestResponse response) {
            answer = std::move(response);
            ++count;
        });
        require(count == 1, "a request is answered once");
        static const std::set<unsigned> statuses{200, 400, 401, 403, 404, 405, 413};
        require(statuses.contains(answer->status), "the service does not fail");
        require(answer->status == 200 || answer->body.contains("error"), "a refusal says why");
        require(sandbox::parseJsonObject(sandbox::printJson(answer->body)).has_value(), "an answer is JSON");
        require((answer->status == 405) == !answer->allow.empty(), "a method that is not there has others");
    }

    void forgetEverything() {
        stores_.database.run(
            "DELETE FROM installations; DELETE FROM tags; DELETE FROM codes; DELETE FROM crashes");
    }

private:
    sandbox::test::TemporaryFolder folder_;
    sandbox::ServiceStores stores_{folder_.path()};
    sandbox::ProgressLog log_{[](std::string_view line) {
        require(line.find_first_of("\n\r\x1B") == std::string_view::npos, "a line of the log is one line");
    }};
    sandbox::MessageDesk desk_{"shop", [](const sandbox::ServiceClient::Publication& publication,
                                          const sandbox::ServiceClient::PublishHandler& onTaken) {
                                   checkPublication(publication);
                                   onTaken(true);
                               }};
    sandbox::RestBackend backend_{{"shop", "key"}, stores_, desk_, log_};
};

/// The target, read once more.
void checkTarget(std::string_view target, const sandbox::RestRequest& request) {
    for (const auto& piece : request.path) {
        require(!piece.empty() && piece.size() <= target.size(), "a path has no empty pieces");
    }
    require(target.find('?') != std::string_view::npos || request.query.empty(), "a query has its mark");
    require(target.find('%') != std::string_view::npos || request.path.empty() ||
                target.find(request.path.front()) != std::string_view::npos,
            "a plain path is as it stands");
}

/// Takes one request off the octets; none when they are not one.
std::optional<sandbox::RestRequest> take(std::string_view& octets) {
    http::request_parser<http::string_body> parser;
    parser.body_limit(std::uint64_t{1024} * 1024);
    parser.header_limit(sandbox::kLargestHeader);
    parser.eager(true);
    boost::system::error_code error;
    octets.remove_prefix(parser.put(boost::asio::buffer(octets.data(), octets.size()), error));
    if (error || !parser.is_done()) {
        return std::nullopt;
    }
    auto message = parser.release();
    const std::string target(message.target());
    auto request = sandbox::takeRestRequest(message);
    checkTarget(target, request);
    return request;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Service service;
    std::string_view octets(reinterpret_cast<const char*>(data), size);
    bool hasAsked = false;
    for (std::size_t count = 0; !octets.empty() && count < kMostRequests; ++count) {
        const auto request = take(octets);
        if (!request) {
            break;
        }
        service.answer(*request);
        hasAsked = true;
    }
    if (hasAsked) {
        service.forgetEverything();
    }
    return 0;
}
