#pragma once

#include <functional>
#include <map>
#include <string>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

class MessageDesk;
struct ServiceStores;

/// What the service offers to the developer, and no push service to its clients:
///
///   POST sandbox/messages       sends a push message (see MessageDesk)
///   POST sandbox/events         publishes an event (see MessageDesk)
///   GET  sandbox/codes          {"codes": [...]}: the verification codes that can still be used
///   GET  sandbox/events         {"events": [...]}: what was published
///   GET  sandbox/receipts       {"receipts": [...]}: who saw and who dismissed which message
///   GET  sandbox/crashes        {"crashes": [...]}: crash reports
///   GET  sandbox/installations  {"installations": [...]}: the installations with their tags, without tokens
///
/// A list holds the newest records, the oldest of them first: as many as the query parameter "limit" says
/// (1 to 1000, by default 100), but not more than fit an answer of 2 MiB.
class DeveloperRoutes final : public RestRoutes {
public:
    DeveloperRoutes(ServiceStores& stores, MessageDesk& messages);

    bool handle(const RestRequest& request, const RestResponder& respond) override;

private:
    using Lister = std::function<Json(std::int64_t limit)>;

    bool post(const RestRequest& request, const RestResponder& respond);
    [[nodiscard]] Json listInstallations(std::int64_t limit) const;

    ServiceStores& stores_;
    MessageDesk& messages_;
    std::map<std::string, Lister> lists_;
};

}  // namespace xel::sandbox
