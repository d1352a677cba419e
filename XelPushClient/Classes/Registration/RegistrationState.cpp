#include "XelPushClient/Classes/Registration/RegistrationState.h"

#include "XelPushClient/Classes/Registration/RegistrationErrors.h"

namespace xel {

RegistrationState::RegistrationState(ClientSettings& settings, LastFailure& lastFailure, EventFanout& fanout,
                                     const LogOutput& log)
    : settings_(settings), lastFailure_(lastFailure), fanout_(fanout), log_(log) {}

void RegistrationState::callbackRegitrationSuccess() {
    isRegistered_ = true;
    fanout_.callbackRegitrationSuccess(isRegistered_, settings_.userId());
}

void RegistrationState::handleRegistrationFailWithError(const NSError& error) {
    lastFailure_.remember(error);
    TVRLog(log_, "handleRegistrationFailWithError");
    isRegistered_ = false;
    const auto mapped = mapRegistrationError(error);
    // A failure of another kind does not call off what still waits for the network: only a success does.
    isPending_ = isPending_ || mapped.isTransient;
    fanout_.callbackRegitrationFailure(isRegistered_, settings_.userId(), mapped.error);
}

}  // namespace xel
