#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Classes/Registration/RestRequests.h"

namespace xel {

/// Has the backend send its user a verification code, and checks the code that the user typed.
///
/// Owner: the manager. Thread: the manager's run loop. Keeps nothing. Outcomes go to delegates, handler block
/// and notification; a failure is also kept as the client's last one.
class Verification {
public:
    Verification(const ClientLife& life, const ClientSettings& settings, LastFailure& lastFailure,
                 RestRequests& requests, EventFanout& fanout);

    /// True when the request was sent.
    bool requestVerificationCode(const std::optional<std::string>& userId);
    bool verifyUserCode(const std::optional<std::string>& userId, const std::optional<std::string>& userCode);

private:
    using Outcome = void (Verification::*)(bool isTrue, const std::optional<NSError>& error);

    /// Sends a request whose answer holds the outcome as "result".
    bool ask(const std::string& path, Outcome handle);
    void handleSentVerificationCode(bool sent, const std::optional<NSError>& error);
    void handleVerifyUserCode(bool verified, const std::optional<NSError>& error);

    const ClientSettings& settings_;
    LastFailure& lastFailure_;
    RestRequests& requests_;
    EventFanout& fanout_;
    ClientLife::WayInto<Verification> wayIn_;
};

}  // namespace xel
