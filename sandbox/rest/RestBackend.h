#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

class MessageDesk;
class ProgressLog;
struct ServiceStores;

/// The REST backend: all routes, below /api and behind the "access_token" query parameter.
/// InstallationRoutes, VerificationRoutes, CrashReportRoutes and DeveloperRoutes say which there are.
///
/// An error is answered as {"error": {"status": ..., "message": ...}}: 400 for a body or a parameter that is
/// not what the route takes, 401 without the right token, 404 for an unknown route, 405 for a method that the
/// route has not, 500 when the service fails.
///
/// Called on the REST server's thread.
class RestBackend {
public:
    struct Settings {
        std::string appId;
        std::string accessToken;
    };

    RestBackend(Settings settings, ServiceStores& stores, MessageDesk& messages, ProgressLog& log);

    void handle(const RestRequest& request, const RestResponder& respond);

private:
    void route(const RestRequest& request, const RestResponder& respond);
    [[nodiscard]] bool isAuthorised(const RestRequest& request) const;

    Settings settings_;
    ProgressLog& log_;
    std::vector<std::unique_ptr<RestRoutes>> subjects_;
};

}  // namespace xel::sandbox
