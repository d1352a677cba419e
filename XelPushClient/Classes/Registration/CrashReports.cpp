#include "XelPushClient/Classes/Registration/CrashReports.h"

#include <utility>

#include "XelPushClient/Classes/Core/ServiceRequests.h"
#include "XelPushClient/Classes/Registration/CrashReport.h"
#include "XelPushClient/Classes/Registration/RegistrationErrors.h"
#include "XelPushClient/Foundation/DictionaryReading.h"
#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {
namespace {

/// Crashes of one second that are told apart; more are not kept.
constexpr int kMostFilesOfOneSecond = 100;

/// No report is lost to another of the same second. A failure is not reported: there is nobody left to tell.
void save(const CrashReports::Outlet& outlet, const std::string& text, Date created) {
    const std::string date = describeDate(created);
    for (int number = 1; number <= kMostFilesOfOneSecond; ++number) {
        const std::string name = number == 1 ? date : formatted("%@-%d", date, number);
        const auto written =
            outlet.files->writeNewFile(text, formatted("%@/crash-%@.log", outlet.documentsDirectory, name));
        if (written || written.error().code != static_cast<std::int64_t>(NSFileErrorCode::WriteFileExists)) {
            return;
        }
    }
}

std::shared_ptr<SLAFHTTPRequestOperation> operationFor(const CrashReports::Outlet& outlet,
                                                       const IdentitySnapshot& identity, std::string text) {
    const auto client = serviceHTTPClient(outlet.endpoints, identity.appId, outlet.http);
    auto request = client.requestWithMethod(
        "POST", formatted("crashReports?access_token=%@", identity.apiKey), std::nullopt);
    setJSONBody(request, std::move(text));
    return client.operationWithRequest(std::move(request));
}

}  // namespace

CrashReports::CrashReports(Surroundings surroundings)
    : surroundings_(std::move(surroundings)), wayIn_(surroundings_.life.wayInto(*this)) {}

void CrashReports::applicationCrashedWithUserInfo(const Dictionary& userInfo, CrashReportOptions options) {
    CrashReport report;
    report.identity = surroundings_.settings.identitySnapshot();
    if (!report.identity.deviceId || !report.identity.appId || !report.identity.appVersion) {
        refuse();
        return;
    }
    report.callStack = surroundings_.threads.callStackSymbols();
    report.userInfo = userInfo;
    surroundings_.operationQueue->addOperationWithBlock(
        [report = std::move(report), options, outlet = surroundings_.outlet, wayIn = wayIn_]() mutable {
            report.created = outlet.clock->now();
            report.osVersion = outlet.device->systemVersion();
            std::string text = crashReportText(report);
            if (options.saveOnDisk) {
                save(outlet, text, report.created);
            }
            const auto operation = operationFor(outlet, report.identity, std::move(text));
            operation->setCompletionBlock(
                [wayIn](const HTTPResponse& response) {
                    if (const auto self = wayIn.hold()) {
                        TVRLog(self->surroundings_.log, "CrashReport response %@", response.body);
                        self->tellEnd(response);
                    }
                },
                [wayIn](const NSError& error) {
                    if (const auto self = wayIn.hold()) {
                        TVRLog(self->surroundings_.log, "CrashReport Error %@", error.localizedDescription());
                        recordDiagnostics(self->surroundings_.diagnostics,
                                          [&] { return CrashReportEnded{.error = diagnosticError(error)}; });
                    }
                });
            if (!operation->isExecuting()) {
                operation->start();
            }
        });
}

void CrashReports::tellEnd(const HTTPResponse& response) const {
    recordDiagnostics(surroundings_.diagnostics, [&] {
        const auto answer = surroundings_.json.JSONObjectWithData(response.body);
        const Dictionary* members = answer ? answer.value().asDictionary() : nullptr;
        return CrashReportEnded{.id = members != nullptr ? identifierUnder(*members, "id") : std::nullopt};
    });
}

void CrashReports::refuse() {
    const auto report = [wayIn = wayIn_] {
        if (const auto self = wayIn.hold()) {
            self->surroundings_.registrationState.handleRegistrationFailWithError(makeRegistrationError(
                kPushClientFailRegisterApplicationErrorCode, "Framework Not Initialized Yet.", "",
                "First Register Application and Use applicationCrashedWithUserInfo"));
        }
    };
    auto& runLoop = surroundings_.runLoop;
    if (runLoop.isCurrent()) {
        report();
    } else {
        runLoop.post(report);  // the host's callbacks run on the loop only
    }
}

}  // namespace xel
