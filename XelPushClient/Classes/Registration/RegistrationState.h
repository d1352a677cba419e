#pragma once

#include <atomic>

#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Classes/Core/TVRLog.h"

namespace xel {

/// Whether the user is registered, and the report of how it went.
///
/// Owner: the manager. Thread: the manager's run loop, but for `isRegistered`.
class RegistrationState {
public:
    RegistrationState(ClientSettings& settings, LastFailure& lastFailure, EventFanout& fanout,
                      const LogOutput& log);

    /// From any thread: hosts that hear a broadcast ask on its thread.
    [[nodiscard]] bool isRegistered() const { return isRegistered_; }
    /// The last registration failed because of the network: repeat it when the network is back.
    [[nodiscard]] bool isPending() const { return isPending_; }

    /// Every registration that goes through ends here, and then, once the host has been told, in
    /// `nothingIsPending`.
    void callbackRegitrationSuccess();
    void nothingIsPending() { isPending_ = false; }
    /// Every failure ends here.
    void handleRegistrationFailWithError(const NSError& error);

    /// Nobody is registered any more.
    void forgetIdentity() { isRegistered_ = false; }

private:
    ClientSettings& settings_;
    LastFailure& lastFailure_;
    EventFanout& fanout_;
    const LogOutput& log_;
    std::atomic<bool> isRegistered_ = false;
    bool isPending_ = false;
};

}  // namespace xel
