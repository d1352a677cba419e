#include "XelPushClient/LoopBack/LBInstallation.h"

#include "XelPushClient/Foundation/DictionaryReading.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

constexpr std::string_view kInstallationsPath = "installations";

std::string pathOfInstallation(const std::string& registrationId) {
    // Whatever the id holds, it stays one segment of the path.
    return std::string(kInstallationsPath) + '/' + encodeUrlString(registrationId);
}

void setWhenPresent(Dictionary& record, std::string key, const std::optional<std::string>& value) {
    if (value) {
        record.set(std::move(key), *value);
    }
}

Array arrayOfTexts(const std::vector<std::string>& texts) {
    return {texts.begin(), texts.end()};
}

Dictionary recordOfFields(const LBInstallationFields& fields) {
    Dictionary record;
    record.set("deviceToken", hexadecimal(fields.deviceToken));
    setWhenPresent(record, "registrationId", fields.registrationId);
    setWhenPresent(record, "appId", fields.appId);
    setWhenPresent(record, "appVersion", fields.appVersion);
    setWhenPresent(record, "userId", fields.userId);
    record.set("badge", fields.badge);
    if (fields.launchCount) {
        record.set("launchCount", *fields.launchCount);
    }
    record.set("launchTime", fields.launchTime);
    record.set("subscriptions", arrayOfTexts(fields.subscriptions));
    record.set("osVersion", fields.osVersion);
    record.set("deviceModel", fields.deviceModel);
    record.set("connection", static_cast<std::int64_t>(fields.connection));
    record.set("userInfo", fields.userInfo);
    if (fields.notificationSettings) {
        record.set("notificationSettings", *fields.notificationSettings);
    }
    record.set("clientVersion", fields.clientVersion);
    setWhenPresent(record, "tokenStatus", fields.tokenStatus);
    if (fields.applicationLaunch) {
        record.set("applicationLaunch", *fields.applicationLaunch);
    }
    return record;
}

}  // namespace

std::optional<std::string> LBInstallation::id() const {
    return identifierUnder(record_, "id");
}

void LBInstallation::registerDevice(LBRESTAdapter& adapter, const LBInstallationFields& fields, Saved success,
                                    const Failure& failure) {
    const auto saved = [success = std::move(success)](const Value& response) {
        if (!success) {
            return;
        }
        const Dictionary* record = response.asDictionary();
        success(record == nullptr ? std::nullopt : std::make_optional<LBInstallation>(*record));
    };
    if (fields.registrationId) {
        adapter.send("PUT", pathOfInstallation(*fields.registrationId), recordOfFields(fields), saved,
                     failure);
    } else {
        adapter.send("POST", kInstallationsPath, recordOfFields(fields), saved, failure);
    }
}

void LBInstallation::unregisterDevice(LBRESTAdapter& adapter, const std::string& registrationId,
                                      Removed success, const Failure& failure) {
    adapter.send("DELETE", pathOfInstallation(registrationId), std::nullopt, std::move(success), failure);
}

}  // namespace xel
