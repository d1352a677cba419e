#include "XelPushClient/Classes/Registration/InstallationRecord.h"

#include <utility>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

InstallationRecord::InstallationRecord(ClientSettings& settings, ChannelStore& channels,
                                       const DeviceDescription& device, const PushTokenState& token)
    : settings_(settings), channels_(channels), device_(device), token_(token) {}

LBInstallationFields InstallationRecord::fields() {
    LBInstallationFields fields;
    fields.deviceToken = token_.deviceToken.value_or(Data());
    if (!isMissingOrBlank(settings_.deviceId())) {
        fields.registrationId = settings_.deviceId();
    }
    fields.appId = settings_.appId();
    fields.appVersion = settings_.appVersion();
    fields.userId = settings_.userId();
    fields.badge = 0;
    fields.launchCount = settings_.getLaunchCount();
    fields.launchTime = settings_.getLaunchTime();
    fields.subscriptions = channels_.deviceSubscriptionsForInstallation();
    fields.osVersion = device_.deviceOsVersion();
    fields.deviceModel = device_.deviceModel();
    fields.connection = device_.getConnectionType();
    fields.userInfo = settings_.userInfo();
    fields.notificationSettings = channels_.notificationSettings;
    fields.clientVersion = settings_.clientVersion();
    fields.tokenStatus = token_.tokenStatus;
    if (!std::exchange(isLaunchByUser_, true)) {
        fields.applicationLaunch = false;
    }
    return fields;
}

void InstallationRecord::save(LBInstallation::Saved success, const LBInstallation::Failure& failure) {
    const auto adaptor = settings_.loopBackAdaptor();
    LBInstallation::registerDevice(*adaptor, fields(), std::move(success), failure);
}

void InstallationRecord::installationUpdateWanted() {
    if (token_.deviceToken) {
        save([](const auto& /*installation*/) {}, [](const NSError& /*error*/) {});
    }
}

void InstallationRecord::remove(const std::string& deviceId, LBInstallation::Removed success,
                                const LBInstallation::Failure& failure) {
    const auto adaptor = settings_.loopBackAdaptor();
    LBInstallation::unregisterDevice(*adaptor, deviceId, std::move(success), failure);
}

}  // namespace xel
