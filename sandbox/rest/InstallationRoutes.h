#pragma once

#include <string>

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

class InstallationStore;
class ProgressLog;
class TagStore;

/// Installation records and the tags that they carry:
///
///   POST   installations                        keeps a record; the answer is the record with its new "id"
///   GET    installations/{id}                   the record
///   PUT    installations/{id}                   replaces the record; 404 for an unknown id
///   DELETE installations/{id}                   removes the record; 404 for an unknown id
///   GET    installations/addTag/{user}/{tag}    gives the tag to every installation of the user
///   GET    installations/removeTag/{user}/{tag} takes it from them
///
/// The last two are answered with {"count": n}: how many of the user's installations carry the tag now; 0 for
/// a user without one. A record of another application is refused with 403.
class InstallationRoutes final : public RestRoutes {
public:
    InstallationRoutes(std::string appId, InstallationStore& installations, TagStore& tags, ProgressLog& log);

    bool handle(const RestRequest& request, const RestResponder& respond) override;

private:
    RestResponse handleRecord(const RestRequest& request, const std::string& id);
    RestResponse save(const RestRequest& request, const std::string& id);
    RestResponse changeTag(const RestRequest& request);

    std::string appId_;
    InstallationStore& installations_;
    TagStore& tags_;
    ProgressLog& log_;
};

}  // namespace xel::sandbox
