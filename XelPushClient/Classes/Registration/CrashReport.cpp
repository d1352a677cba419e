#include "XelPushClient/Classes/Registration/CrashReport.h"

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/JSONPrinter.h"

namespace xel {
namespace {

Value textOrNothing(const std::optional<std::string>& text) {
    return text ? Value(*text) : Value();
}

/// The second in which it happened, in milliseconds.
std::int64_t wholeSecondInMilliseconds(Date date) {
    return static_cast<std::int64_t>(secondsSince1970(date)) * 1000;
}

}  // namespace

std::string crashReportText(const CrashReport& report) {
    const Value deviceId = textOrNothing(report.identity.deviceId);
    const Value appId = textOrNothing(report.identity.appId);
    const std::int64_t created = wholeSecondInMilliseconds(report.created);

    Dictionary customData = report.userInfo;
    customData.set("DEVICE_ID", deviceId);
    customData.set("APP_ID", appId);

    return printJSON(Dictionary{{"CUSTOM_DATA", std::move(customData)},
                                {"created", created},
                                {"OS_VERSION", report.osVersion},
                                {"APP_VERSION_CODE", PUSH_CLIENT_VERSION_STR},
                                {"STACK_TRACE", Array(report.callStack.begin(), report.callStack.end())},
                                {"USER_CRASH_DATE", created},
                                {"USER_APP_START_DATE", report.identity.launchTime},
                                {"DEVICE_ID", deviceId},
                                {"APP_ID", appId}},
                     JSONLayout::Pretty);
}

}  // namespace xel
