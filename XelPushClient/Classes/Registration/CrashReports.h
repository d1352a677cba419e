#pragma once

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/Models/OperationOptions.h"
#include "XelPushClient/Classes/Registration/RegistrationState.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/Device.h"
#include "XelPushClient/Platform/Diagnostics.h"
#include "XelPushClient/Platform/Endpoints.h"
#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/NSFileManager.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/NSOperationQueue.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/NSThread.h"

namespace xel {

/// Reports crashes to the backend.
///
/// A crashing host's run loop may never run again: identity and stack are copied on the caller's thread, and
/// the report is written and sent from the operation queue's own. Only what is left to tell afterwards, a log
/// line or a refusal, needs the loop. Owner: the manager. Thread: any; the manager must outlive the call.
class CrashReports {
public:
    /// What a report's way needs, all of it usable on the queue's thread, also when the client is gone.
    struct Outlet {
        std::shared_ptr<Clock> clock;
        std::shared_ptr<UIDevice> device;
        std::shared_ptr<NSFileManager> files;
        std::shared_ptr<HTTPTransport> http;
        Endpoints endpoints;
        std::string documentsDirectory;
    };
    struct Surroundings {
        const ClientLife& life;
        NSRunLoop& runLoop;
        NSThread& threads;
        Outlet outlet;
        const ClientSettings& settings;
        const LogOutput& log;
        const std::shared_ptr<NSOperationQueue>& operationQueue;
        /// Is told of a report that cannot be sent: the host hears of it as of a failed registration.
        RegistrationState& registrationState;
        /// Reads the backend's answers.
        NSJSONSerialization& json;
        /// Hears what became of each report; may be null.
        const std::shared_ptr<Diagnostics>& diagnostics;
    };

    explicit CrashReports(Surroundings surroundings);

    void applicationCrashedWithUserInfo(const Dictionary& userInfo, CrashReportOptions options);

private:
    void refuse();
    void tellEnd(const HTTPResponse& response) const;

    Surroundings surroundings_;
    ClientLife::WayInto<CrashReports> wayIn_;
};

}  // namespace xel
