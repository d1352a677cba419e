#include "sandbox/rest/CrashReportRoutes.h"

#include <optional>
#include <string>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/store/CrashReportStore.h"

namespace xel::sandbox {

CrashReportRoutes::CrashReportRoutes(CrashReportStore& crashes, ProgressLog& log)
    : crashes_(crashes), log_(log) {}

bool CrashReportRoutes::handle(const RestRequest& request, const RestResponder& respond) {
    if (request.path.size() != 2 || request.path[1] != "crashReports") {
        return false;
    }
    respond(request.method == "POST" ? keep(request) : makeMethodResponse("POST"));
    return true;
}

RestResponse CrashReportRoutes::keep(const RestRequest& request) {
    const std::optional<Json> report = parseJsonObject(request.body);
    if (!report) {
        return makeNoObjectResponse();
    }
    const std::string id = crashes_.add(*report);
    log_.write("crash report " + id + " kept; it is shown by: xelpush sandbox crashes");
    return RestResponse{200, Json{{"id", id}}};
}

}  // namespace xel::sandbox
