#include "XelPushClient/Classes/Registration/RegistrationErrors.h"

#include <array>

#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {
namespace {

struct Mapping {
    NSURLErrorCode incoming;
    PushClientErrorCode reported;
    bool isTransient;
};

constexpr std::array<Mapping, 6> kMappings = {{
    {NSURLErrorCode::TimedOut, kPushClientServerConnectionErrorCode, true},
    {NSURLErrorCode::CannotConnectToHost, kPushClientServerConnectionErrorCode, true},
    {NSURLErrorCode::NetworkConnectionLost, kPushClientServerConnectionErrorCode, true},
    {NSURLErrorCode::NotConnectedToInternet, kPushClientNoInternetConnectionErrorCode, true},
    {NSURLErrorCode::BadServerResponse, kPushClientServerConnectionErrorCode, false},
    {NSURLErrorCode::DataNotAllowed, kPushClientServerConnectionErrorCode, false},
}};

constexpr std::int64_t kNotFound = 404;

}  // namespace

NSError makeRegistrationError(PushClientErrorCode code, std::string_view description,
                              std::string_view failureReason, std::string_view recoverySuggestion) {
    NSError error = makeError(kPushClientErrorDomain, code, description);
    error.userInfo.set(NSLocalizedFailureReasonErrorKey, failureReason);
    error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, recoverySuggestion);
    return error;
}

MappedRegistrationError mapRegistrationError(const NSError& error) {
    for (const auto& mapping : kMappings) {
        // By the number alone, of whatever domain.
        if (error.code == static_cast<std::int64_t>(mapping.incoming)) {
            return {{std::string(kPushClientErrorDomain), mapping.reported, error.userInfo},
                    mapping.isTransient};
        }
    }
    return {error, false};
}

NSError makeUnknownInstallationKeptError() {
    NSError error = makeError(kPushClientStoreErrorDomain, kPushClientStoreFailedErrorCode,
                              "the service does not know this installation any more, and the store could not "
                              "be written to forget its id");
    error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, "register again when the store can be written");
    return error;
}

bool saysInstallationIsUnknown(const NSError& error, NSJSONSerialization& json) {
    const auto body = error.localizedRecoverySuggestion();
    if (!body) {
        return false;
    }
    const auto parsed = json.JSONObjectWithData(*body);
    const Dictionary* answer = parsed ? parsed.value().asDictionary() : nullptr;
    const Value* details = answer != nullptr ? answer->find("error") : nullptr;
    const Dictionary* members = details != nullptr ? details->asDictionary() : nullptr;
    const Value* status = members != nullptr ? members->find("status") : nullptr;
    return status != nullptr && status->integer() == kNotFound;
}

}  // namespace xel
