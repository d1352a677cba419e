#pragma once

#include <optional>
#include <utility>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// The client's `failureError`: the last failure that a host can ask for afterwards. This is where it is
/// kept, and `remember` the only way to change it.
///
/// Four rooms write it, each in the one place where its failures come together: `RegistrationState` (every
/// refusal and failure of a registration, a connect without a session and a refused crash report among them),
/// `BrokerConnection` (an error event of the session that brings an error), `Verification`, and `MessageIds`
/// when the store failed. Failures of subscriptions, publications, tags and of the location are told to
/// whoever asked and not kept. Nothing clears it, `reset` neither. Owner: the rooms. Thread: the manager's
/// run loop.
class LastFailure {
public:
    void remember(NSError failure) { error_ = std::move(failure); }
    [[nodiscard]] const std::optional<NSError>& error() const { return error_; }

private:
    std::optional<NSError> error_;
};

}  // namespace xel
