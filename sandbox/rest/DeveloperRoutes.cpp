#include "sandbox/rest/DeveloperRoutes.h"

#include <charconv>
#include <cstdint>
#include <optional>

#include "sandbox/rest/MessageDesk.h"
#include "sandbox/store/ServiceStores.h"

namespace xel::sandbox {
namespace {

constexpr std::int64_t kUsualLimit = 100;
constexpr std::int64_t kLargestLimit = 1000;

// Nothing for a text that is no such number.
std::optional<std::int64_t> limitOf(const RestRequest& request) {
    const auto found = request.query.find("limit");
    if (found == request.query.end()) {
        return kUsualLimit;
    }
    const std::string& text = found->second;
    std::int64_t limit = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), limit);
    if (error != std::errc() || end != text.data() + text.size() || limit < 1 || limit > kLargestLimit) {
        return std::nullopt;
    }
    return limit;
}

bool isPosted(const std::string& name) {
    return name == "messages" || name == "events";
}

}  // namespace

DeveloperRoutes::DeveloperRoutes(ServiceStores& stores, MessageDesk& messages)
    : stores_(stores), messages_(messages) {
    lists_["codes"] = [this](std::int64_t limit) { return stores_.codes.list(limit); };
    lists_["events"] = [this](std::int64_t limit) { return stores_.events.listEvents(limit); };
    lists_["receipts"] = [this](std::int64_t limit) { return stores_.events.listReceipts(limit); };
    lists_["crashes"] = [this](std::int64_t limit) { return stores_.crashes.list(limit); };
    lists_["installations"] = [this](std::int64_t limit) { return listInstallations(limit); };
}

bool DeveloperRoutes::handle(const RestRequest& request, const RestResponder& respond) {
    const auto& path = request.path;
    if (path.size() != 3 || path[1] != "sandbox") {
        return false;
    }
    if (request.method == "POST" && isPosted(path[2])) {
        return post(request, respond);
    }
    const auto list = lists_.find(path[2]);
    if (list == lists_.end() && !isPosted(path[2])) {
        return false;
    }
    if (list == lists_.end() || request.method != "GET") {
        respond(makeMethodResponse(list == lists_.end() ? "POST" : isPosted(path[2]) ? "GET, POST" : "GET"));
    } else if (const std::optional<std::int64_t> limit = limitOf(request); !limit) {
        respond(
            makeErrorResponse(400, "'limit' must be a number from 1 to " + std::to_string(kLargestLimit)));
    } else {
        respond(RestResponse{200, Json{{path[2], list->second(*limit)}}});
    }
    return true;
}

bool DeveloperRoutes::post(const RestRequest& request, const RestResponder& respond) {
    if (const std::optional<Json> body = parseJsonObject(request.body); !body) {
        respond(makeNoObjectResponse());
    } else if (request.path[2] == "messages") {
        messages_.sendMessage(*body, respond);
    } else {
        messages_.sendEvent(*body, respond);
    }
    return true;
}

Json DeveloperRoutes::listInstallations(std::int64_t limit) const {
    Json listed = Json::array();
    for (const Json& record : stores_.installations.list(limit)) {
        Json shown = Json::object();
        for (const char* key : {"id", "userId", "osVersion", "deviceModel", "created", "modified"}) {
            if (const auto found = record.find(key); found != record.end()) {
                shown[key] = *found;
            }
        }
        shown["tags"] = stores_.tags.tagsOf(record["id"].get<std::string>());
        listed.push_back(std::move(shown));
    }
    return listed;
}

}  // namespace xel::sandbox
