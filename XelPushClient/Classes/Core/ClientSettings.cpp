#include "XelPushClient/Classes/Core/ClientSettings.h"

#include <charconv>
#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {
namespace {

void storeOrRemove(NSUserDefaults& defaults, std::string_view key, const std::optional<std::string>& text) {
    if (text) {
        defaults.setObject(key, *text);
    } else {
        defaults.removeObject(key);
    }
}

}  // namespace

ClientSettings::ClientSettings(Surroundings surroundings, InstallationIdObserver& observer)
    : surroundings_(std::move(surroundings)), defaults_(surroundings_.defaults), observer_(observer) {
    requireSecureAddresses(surroundings_.endpoints);
    // A crash before anything is registered is told with the id of an earlier start.
    publishIdentity();
}

void ClientSettings::setApplication(RegisteredApplication application) {
    application_ = std::move(application);
    publishIdentity();
}

const std::optional<std::string>& ClientSettings::userId() {
    if (!userId_) {
        userId_ = defaults_.stringForKey(kUserIdKey);
    }
    return userId_;
}

void ClientSettings::setUserId(const std::optional<std::string>& userId) {
    if (userId && userId == userId_) {
        return;
    }
    storeOrRemove(defaults_, kUserIdKey, userId);
    if (defaults_.synchronize()) {
        userId_ = userId;
    }
}

const std::optional<std::string>& ClientSettings::deviceId() {
    if (!deviceId_) {
        deviceId_ = defaults_.stringForKey(kDeviceIdKey);
    }
    return deviceId_;
}

void ClientSettings::setDeviceId(const std::optional<std::string>& deviceId) {
    if (deviceId && deviceId != defaults_.stringForKey(kDeviceIdKey)) {
        observer_.installationIdIsAnother();
    }
    storeOrRemove(defaults_, kDeviceIdKey, deviceId);
    if (defaults_.synchronize()) {
        deviceId_ = deviceId;
    }
    publishIdentity();
}

void ClientSettings::setUserInfo(const std::optional<Dictionary>& userInfo) {
    if (userInfo) {
        userInfo_ = *userInfo;
    }
}

std::string ClientSettings::clientVersion() const {
    if (auto stored = defaults_.stringForKey(kClientVersionKey)) {
        return *stored;
    }
    return getClientVersionFromAppPlist();
}

void ClientSettings::setClientVersion(const std::optional<std::string>& clientVersion) {
    storeOrRemove(defaults_, kClientVersionKey, clientVersion);
    (void)defaults_.synchronize();
}

std::string ClientSettings::getClientVersionFromAppPlist() const {
    return formatted("%@.%@", surroundings_.bundle.shortVersionString(),
                     surroundings_.bundle.bundleVersion());
}

bool ClientSettings::enableLocationOnLaunch() const {
    return defaults_.boolForKey(kEnableLocationOnLaunchKey);
}

bool ClientSettings::setEnableLocationOnLaunch(bool enable) {
    const bool wasEnabled = enableLocationOnLaunch();
    defaults_.setObject(kEnableLocationOnLaunchKey, enable);
    (void)defaults_.synchronize();
    return enable && !wasEnabled;
}

std::optional<Dictionary> ClientSettings::locationOnLaunchWithDictionary() const {
    return defaults_.dictionaryForKey(kLocationOnLaunchDictionaryKey);
}

void ClientSettings::setLocationOnLaunchWithDictionary(const std::optional<Dictionary>& options) {
    if (options) {
        defaults_.setObject(kLocationOnLaunchDictionaryKey, *options);
    } else {
        defaults_.removeObject(kLocationOnLaunchDictionaryKey);
    }
    (void)defaults_.synchronize();
}

bool ClientSettings::enableLog() const {
    return defaults_.boolForKey(kEnableLogKey);
}

void ClientSettings::setEnableLog(bool enable) {
    defaults_.setObject(kEnableLogKey, enable);
    (void)defaults_.synchronize();
}

void ClientSettings::setDeliveryChannelEnabeled(bool enabled) {
    deliveryChannelEnabeled_ = deliveryChannelEnabeled_ || enabled;
}

std::shared_ptr<LBRESTAdapter> ClientSettings::loopBackAdaptor() {
    if (!adaptor_) {
        usingSSLConnection_ = true;
        adaptor_ =
            LBRESTAdapter::adapterWithURL(restBaseURL(surroundings_.endpoints, appId(), usingSSLConnection_),
                                          surroundings_.http, surroundings_.json);
    }
    adaptor_->setAccessToken(apiKey());
    return adaptor_;
}

void ClientSettings::forgetIdentity() {
    userId_.reset();
    deviceId_.reset();
}

void ClientSettings::removeStoredIdentity() {
    for (const auto key : {kLaunchTimeKey, kLaunchCountKey, kUserIdKey, kDeviceIdKey}) {
        defaults_.removeObject(key);
    }
    publishIdentity();
}

void ClientSettings::setLaunchStats() {
    launchedByUser_ = true;
    defaults_.setObject(kLaunchCountKey, getLaunchCount().value_or(0) + 1);
    const double milliseconds = secondsSince1970(surroundings_.clock.now()) * 1000.0;
    defaults_.setObject(kLaunchTimeKey, formatted("%f", milliseconds));
    (void)defaults_.synchronize();
    publishIdentity();
}

std::optional<std::int64_t> ClientSettings::getLaunchCount() const {
    const auto count = defaults_.objectForKey(kLaunchCountKey);
    return count ? count->integer() : std::nullopt;
}

std::int64_t ClientSettings::getLaunchTime() const {
    const auto text = defaults_.stringForKey(kLaunchTimeKey).value_or("");
    std::int64_t milliseconds = 0;
    // Stored with decimals, before which the reading of an integer stops.
    std::from_chars(text.data(), text.data() + text.size(), milliseconds);
    return milliseconds;
}

void ClientSettings::publishIdentity() {
    const auto deviceId = deviceId_ ? deviceId_ : defaults_.stringForKey(kDeviceIdKey);
    sharedIdentity_.publish({appId(), apiKey(), appVersion(), deviceId, getLaunchTime()});
}

}  // namespace xel
