#include "XelPushClient/Classes/Registration/Verification.h"

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Registration/RegistrationErrors.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::string_view kUserIdMissing = "userId is nil or empty";
constexpr std::string_view kUserCodeMissing = "userCode is nil or empty";
constexpr std::string_view kNotInitialized = "You are not Initialized yet";

NSError clientError(PushClientErrorCode code, std::string_view description) {
    return makeError(kPushClientErrorDomain, code, description);
}

std::optional<NSError> verifyRefusal(const std::optional<std::string>& userId,
                                     const std::optional<std::string>& userCode,
                                     const std::optional<std::string>& apiKey) {
    if (isMissingOrBlank(userId)) {
        return clientError(kPushClientFailVerifyUserCodeErrorCode, kUserIdMissing);
    }
    if (isMissingOrBlank(userCode)) {
        return clientError(kPushClientFailVerifyUserCodeErrorCode, kUserCodeMissing);
    }
    if (!apiKey) {
        return clientError(kPushClientNotInitializedErrorCode, kNotInitialized);
    }
    return std::nullopt;
}

/// The truth of "result"; an answer without one says no.
bool resultIn(const Value& response) {
    const Dictionary* answer = response.asDictionary();
    const Value* result = answer != nullptr ? answer->find("result") : nullptr;
    return result != nullptr && result->truth();
}

}  // namespace

Verification::Verification(const ClientLife& life, const ClientSettings& settings, LastFailure& lastFailure,
                           RestRequests& requests, EventFanout& fanout)
    : settings_(settings),
      lastFailure_(lastFailure),
      requests_(requests),
      fanout_(fanout),
      wayIn_(life.wayInto(*this)) {}

bool Verification::requestVerificationCode(const std::optional<std::string>& userId) {
    if (isMissingOrBlank(userId)) {
        handleSentVerificationCode(false, clientError(kPushClientFailVerficationErrorCode, kUserIdMissing));
        return false;
    }
    if (!settings_.apiKey()) {
        // Reported as a failed check of a code: hosts know it there.
        handleVerifyUserCode(false, clientError(kPushClientNotInitializedErrorCode, kNotInitialized));
        return false;
    }
    return ask(formatted("verification/requestCode/%@?access_token=%@", encodeUrlString(*userId),
                         settings_.apiKey()),
               &Verification::handleSentVerificationCode);
}

bool Verification::verifyUserCode(const std::optional<std::string>& userId,
                                  const std::optional<std::string>& userCode) {
    if (const auto refusal = verifyRefusal(userId, userCode, settings_.apiKey())) {
        handleVerifyUserCode(false, refusal);
        return false;
    }
    // As they were given, without percent-encoding: the backend compares them so.
    return ask(
        formatted("verification/verifyCode/%@/%@?access_token=%@", userId, userCode, settings_.apiKey()),
        &Verification::handleVerifyUserCode);
}

bool Verification::ask(const std::string& path, Outcome handle) {
    requests_.requestMethod(
        "GET", path, std::nullopt,
        [wayIn = wayIn_, handle](const Value& response) {
            if (const auto self = wayIn.hold()) {
                (self.get()->*handle)(resultIn(response), std::nullopt);
            }
        },
        [wayIn = wayIn_, handle](const NSError& error) {
            if (const auto self = wayIn.hold()) {
                (self.get()->*handle)(false, error);
            }
        });
    return true;
}

void Verification::handleSentVerificationCode(bool sent, const std::optional<NSError>& error) {
    if (!error) {
        fanout_.callbackSentVerificationRequest(sent);
        return;
    }
    lastFailure_.remember(*error);
    // The network's errors are named as those of a registration are; nothing is repeated here.
    fanout_.callbackRequestVerificationFailure(mapRegistrationError(*error).error);
}

void Verification::handleVerifyUserCode(bool verified, const std::optional<NSError>& error) {
    if (!error) {
        fanout_.callbackVerifyUserCode(verified);
        return;
    }
    lastFailure_.remember(*error);
    fanout_.callbackVerifyUserCodeFailure(mapRegistrationError(*error).error);
}

}  // namespace xel
