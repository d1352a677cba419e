#pragma once

#include <string>

#include "sandbox/RestMessage.h"

namespace xel::sandbox {

class InstallationStore;
class MessageDesk;
class ProgressLog;

/// The routes of the REST backend, all under /api and behind the "access_token" query parameter:
///
///   POST   installations          keeps a record; the answer is the record with its new "id"
///   GET    installations/{id}     the record
///   PUT    installations/{id}     replaces the record; 404 for an unknown id
///   DELETE installations/{id}     removes the record; 404 for an unknown id
///   POST   sandbox/messages       sends a push message (see MessageDesk)
///   POST   sandbox/events         publishes an event (see MessageDesk)
///
/// An error is answered as {"error": {"status": ..., "message": ...}}: 400 for a body that is no JSON object,
/// 401 without the right token, 403 for another application's id, 404 for an unknown route, 405 for a method
/// that the route has not, 500 when the service fails.
///
/// Called on the REST server's thread.
class RestBackend {
public:
    struct Settings {
        std::string appId;
        std::string accessToken;
    };

    RestBackend(Settings settings, InstallationStore& installations, MessageDesk& messages, ProgressLog& log);

    void handle(const RestRequest& request, const RestResponder& respond);

private:
    void route(const RestRequest& request, const RestResponder& respond);
    [[nodiscard]] bool isAuthorised(const RestRequest& request) const;
    RestResponse handleInstallations(const RestRequest& request);
    RestResponse handleInstallation(const RestRequest& request, const std::string& id);
    RestResponse saveInstallation(const RestRequest& request, const std::string& id);

    Settings settings_;
    InstallationStore& installations_;
    MessageDesk& messages_;
    ProgressLog& log_;
};

}  // namespace xel::sandbox
