#include "sandbox/rest/RestBackend.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <openssl/crypto.h>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/rest/CrashReportRoutes.h"
#include "sandbox/rest/DeveloperRoutes.h"
#include "sandbox/rest/InstallationRoutes.h"
#include "sandbox/rest/VerificationRoutes.h"
#include "sandbox/store/ServiceStores.h"

namespace xel::sandbox {

RestBackend::RestBackend(Settings settings, ServiceStores& stores, MessageDesk& messages, ProgressLog& log)
    : settings_(std::move(settings)), log_(log) {
    subjects_.push_back(
        std::make_unique<InstallationRoutes>(settings_.appId, stores.installations, stores.tags, log_));
    subjects_.push_back(std::make_unique<VerificationRoutes>(stores.codes, log_));
    subjects_.push_back(std::make_unique<CrashReportRoutes>(stores.crashes, log_));
    subjects_.push_back(std::make_unique<DeveloperRoutes>(stores, messages));
}

void RestBackend::handle(const RestRequest& request, const RestResponder& respond) {
    try {
        route(request, respond);
    } catch (const std::exception& error) {
        log_.write(std::string("the REST backend failed: ") + error.what());
        respond(makeErrorResponse(500, "the service failed; its log says why"));
    }
}

void RestBackend::route(const RestRequest& request, const RestResponder& respond) {
    if (request.path.empty() || request.path[0] != "api") {
        respond(makeErrorResponse(404, "there is nothing here: every route begins with /api"));
    } else if (!isAuthorised(request)) {
        respond(makeErrorResponse(401, "the access_token parameter is missing or is not the API key"));
    } else if (std::none_of(subjects_.begin(), subjects_.end(),
                            [&](const auto& subject) { return subject->handle(request, respond); })) {
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

}  // namespace xel::sandbox
