#pragma once

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/Models/OperationOptions.h"
#include "XelPushClient/Classes/Registration/RegistrationState.h"
#include "XelPushClient/Platform/NSOperationQueue.h"

namespace xel {

/// Reports crashes to the backend.
///
/// A crashing host's run loop may never run again: identity and stack are copied on the caller's thread, and
/// the report is written and sent from the operation queue's own. Only what is left to tell afterwards, a log
/// line or a refusal, needs the loop. Owner: the manager. Thread: any; the manager must outlive the call.
class CrashReports {
public:
    struct Surroundings {
        const ClientLife& life;
        const Machine& machine;
        const Home& home;
        const ClientSettings& settings;
        const LogOutput& log;
        const std::shared_ptr<NSOperationQueue>& operationQueue;
        /// Is told of a report that cannot be sent: the host hears of it as of a failed registration.
        RegistrationState& registrationState;
    };

    explicit CrashReports(Surroundings surroundings);

    void applicationCrashedWithUserInfo(const Dictionary& userInfo, CrashReportOptions options);

private:
    void refuse();

    Surroundings surroundings_;
    ClientLife::WayInto<CrashReports> wayIn_;
};

}  // namespace xel
