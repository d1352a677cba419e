#include "sandbox/RestBackend.h"

#include <exception>
#include <optional>
#include <utility>

#include <openssl/crypto.h>

#include "sandbox/InstallationStore.h"
#include "sandbox/MessageDesk.h"
#include "sandbox/ProgressLog.h"

namespace xel::sandbox {
namespace {

constexpr const char* kNoObject = "the body is not a JSON object";

RestResponse makeMethodResponse(const std::string& allowed) {
    RestResponse response = makeErrorResponse(405, "this route knows only " + allowed);
    response.allow = allowed;
    return response;
}

RestResponse makeUnknownInstallation(const std::string& id) {
    return makeErrorResponse(404, "there is no installation '" + withoutControlCharacters(id) + "'");
}

}  // namespace

RestBackend::RestBackend(Settings settings, InstallationStore& installations, MessageDesk& messages,
                         ProgressLog& log)
    : settings_(std::move(settings)), installations_(installations), messages_(messages), log_(log) {}

void RestBackend::handle(const RestRequest& request, const RestResponder& respond) {
    try {
        route(request, respond);
    } catch (const std::exception& error) {
        log_.write(std::string("the REST backend failed: ") + error.what());
        respond(makeErrorResponse(500, "the service failed; its log says why"));
    }
}

void RestBackend::route(const RestRequest& request, const RestResponder& respond) {
    const auto& path = request.path;
    if (path.empty() || path[0] != "api") {
        respond(makeErrorResponse(404, "there is nothing here: every route begins with /api"));
    } else if (!isAuthorised(request)) {
        respond(makeErrorResponse(401, "the access_token parameter is missing or is not the API key"));
    } else if (path.size() == 2 && path[1] == "installations") {
        respond(handleInstallations(request));
    } else if (path.size() == 3 && path[1] == "installations") {
        respond(handleInstallation(request, path[2]));
    } else if (path.size() == 3 && path[1] == "sandbox" && (path[2] == "messages" || path[2] == "events")) {
        if (request.method != "POST") {
            respond(makeMethodResponse("POST"));
        } else if (const std::optional<Json> body = parseJsonObject(request.body); !body) {
            respond(makeErrorResponse(400, kNoObject));
        } else if (path[2] == "messages") {
            messages_.sendMessage(*body, respond);
        } else {
            messages_.sendEvent(*body, respond);
        }
    } else {
        respond(makeErrorResponse(404, "there is no such route"));
    }
}

bool RestBackend::isAuthorised(const RestRequest& request) const {
    const auto found = request.query.find("access_token");
    // Compared in constant time: how long it takes says nothing of the key.
    return found != request.query.end() && found->second.size() == settings_.accessToken.size() &&
           CRYPTO_memcmp(found->second.data(), settings_.accessToken.data(), settings_.accessToken.size()) ==
               0;
}

RestResponse RestBackend::handleInstallations(const RestRequest& request) {
    if (request.method != "POST") {
        return makeMethodResponse("POST");
    }
    return saveInstallation(request, {});
}

RestResponse RestBackend::handleInstallation(const RestRequest& request, const std::string& id) {
    if (request.method == "PUT") {
        return saveInstallation(request, id);
    }
    if (request.method == "GET") {
        std::optional<Json> record = installations_.find(id);
        return record ? RestResponse{200, std::move(*record)} : makeUnknownInstallation(id);
    }
    if (request.method == "DELETE") {
        if (!installations_.remove(id)) {
            return makeUnknownInstallation(id);
        }
        log_.write("installation " + id + " removed");
        return RestResponse{200, Json{{"count", 1}}};
    }
    return makeMethodResponse("GET, PUT, DELETE");
}

RestResponse RestBackend::saveInstallation(const RestRequest& request, const std::string& id) {
    const std::optional<Json> record = parseJsonObject(request.body);
    if (!record) {
        return makeErrorResponse(400, kNoObject);
    }
    // The broker will refuse such a client; said here, the developer sees what is wrong.
    if (const auto app = record->find("appId"); app != record->end() && *app != settings_.appId) {
        return makeErrorResponse(403, "this service is for the application '" + settings_.appId + "'");
    }
    if (id.empty()) {
        const Json kept = installations_.add(*record);
        log_.write("installation " + kept["id"].get<std::string>() + " saved");
        return RestResponse{200, kept};
    }
    std::optional<Json> kept = installations_.replace(id, *record);
    if (!kept) {
        return makeUnknownInstallation(id);
    }
    log_.write("installation " + id + " updated");
    return RestResponse{200, std::move(*kept)};
}

}  // namespace xel::sandbox
