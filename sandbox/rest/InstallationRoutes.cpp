#include "sandbox/rest/InstallationRoutes.h"

#include <optional>
#include <utility>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/store/InstallationStore.h"
#include "sandbox/store/TagStore.h"

namespace xel::sandbox {
namespace {

RestResponse makeUnknownInstallation(const std::string& id) {
    return makeErrorResponse(404, "there is no installation '" + withoutControlCharacters(id) + "'");
}

bool isTagOperation(const std::string& word) {
    return word == "addTag" || word == "removeTag";
}

}  // namespace

InstallationRoutes::InstallationRoutes(std::string appId, InstallationStore& installations, TagStore& tags,
                                       ProgressLog& log)
    : appId_(std::move(appId)), installations_(installations), tags_(tags), log_(log) {}

bool InstallationRoutes::handle(const RestRequest& request, const RestResponder& respond) {
    const auto& path = request.path;
    if (path.size() < 2 || path[1] != "installations") {
        return false;
    }
    if (path.size() == 2) {
        respond(request.method == "POST" ? save(request, {}) : makeMethodResponse("POST"));
    } else if (isTagOperation(path[2])) {
        respond(changeTag(request));
    } else if (path.size() == 3) {
        respond(handleRecord(request, path[2]));
    } else {
        return false;
    }
    return true;
}

RestResponse InstallationRoutes::handleRecord(const RestRequest& request, const std::string& id) {
    if (request.method == "PUT") {
        return save(request, id);
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

RestResponse InstallationRoutes::save(const RestRequest& request, const std::string& id) {
    const std::optional<Json> record = parseJsonObject(request.body);
    if (!record) {
        return makeNoObjectResponse();
    }
    // The broker will refuse such a client; said here, the developer sees what is wrong.
    if (const auto app = record->find("appId"); app != record->end() && *app != appId_) {
        return makeErrorResponse(403, "this service is for the application '" + appId_ + "'");
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

RestResponse InstallationRoutes::changeTag(const RestRequest& request) {
    const auto& path = request.path;
    if (path.size() != 5) {
        return makeErrorResponse(
            400, "the path must name a user and a tag: installations/" + path[2] + "/{userId}/{tag}");
    }
    if (request.method != "GET") {
        return makeMethodResponse("GET");
    }
    const bool isAdded = path[2] == "addTag";
    const std::int64_t count = isAdded ? tags_.add(path[3], path[4]) : tags_.remove(path[3], path[4]);
    log_.write("tag '" + withoutControlCharacters(path[4]) + (isAdded ? "' added to " : "' removed from ") +
               "user '" + withoutControlCharacters(path[3]) + "': " + std::to_string(count) +
               " installations carry it");
    return RestResponse{200, Json{{"count", count}}};
}

}  // namespace xel::sandbox
