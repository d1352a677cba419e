#pragma once

#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Classes/Core/IdentitySnapshot.h"
#include "XelPushClient/LoopBack/LBRESTAdapter.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/Device.h"
#include "XelPushClient/Platform/Endpoints.h"
#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// What the host registered its application with: who it is at the service, and what lets it in.
struct RegisteredApplication {
    std::optional<std::string> appId;
    std::optional<std::string> apiKey;
    std::optional<std::string> username;
    std::optional<std::string> password;
    /// The library's own version, kept from the registration on.
    std::optional<std::string> appVersion;
};

/// Hears that another installation id takes the place of the stored one, before it does; what it removes from
/// the defaults is stored with the new id.
class InstallationIdObserver {
public:
    virtual ~InstallationIdObserver() = default;
    virtual void installationIdIsAnother() = 0;
};

/// Who the client is towards the service, and what it was told to do: credentials, user id, device id,
/// settings.
///
/// What another thread may see of the identity is published by each operation that changes it, so that no
/// caller has to think of it. Owner: the manager. Thread: the manager's run loop, but for `identitySnapshot`.
class ClientSettings {
public:
    struct Surroundings {
        const Endpoints& endpoints;
        const Clock& clock;
        const NSBundle& bundle;
        std::shared_ptr<HTTPTransport> http;
        std::shared_ptr<NSJSONSerialization> json;
        NSUserDefaults& defaults;
    };

    /// Throws std::invalid_argument for endpoints that would send the API key unencrypted.
    ClientSettings(Surroundings surroundings, InstallationIdObserver& observer);

    [[nodiscard]] const std::optional<std::string>& appId() const { return application_.appId; }
    [[nodiscard]] const std::optional<std::string>& apiKey() const { return application_.apiKey; }
    [[nodiscard]] const std::optional<std::string>& username() const { return application_.username; }
    [[nodiscard]] const std::optional<std::string>& password() const { return application_.password; }
    [[nodiscard]] const std::optional<std::string>& appVersion() const { return application_.appVersion; }
    [[nodiscard]] const RegisteredApplication& application() const { return application_; }
    void setApplication(RegisteredApplication application);

    [[nodiscard]] bool usingSSLConnection() const { return usingSSLConnection_; }
    void setUsingSSLConnection(bool usingSSL) { usingSSLConnection_ = usingSSL; }

    /// The persisted user id, read on first use.
    [[nodiscard]] const std::optional<std::string>& userId();
    /// Nothing is written for the value already held; the value held changes only when the store took the
    /// change.
    void setUserId(const std::optional<std::string>& userId);

    /// The persisted installation id that the service gave.
    [[nodiscard]] const std::optional<std::string>& deviceId();
    void setDeviceId(const std::optional<std::string>& deviceId);

    [[nodiscard]] const Dictionary& userInfo() const { return userInfo_; }
    /// A missing dictionary is ignored.
    void setUserInfo(const std::optional<Dictionary>& userInfo);

    /// The stored override, or else the bundle's short version, a dot, and the bundle version.
    [[nodiscard]] std::string clientVersion() const;
    /// A missing one removes the override.
    void setClientVersion(const std::optional<std::string>& clientVersion);
    [[nodiscard]] std::string getClientVersionFromAppPlist() const;

    [[nodiscard]] bool enableLocationOnLaunch() const;
    /// True when this switched it on.
    bool setEnableLocationOnLaunch(bool enable);
    [[nodiscard]] std::optional<Dictionary> locationOnLaunchWithDictionary() const;
    void setLocationOnLaunchWithDictionary(const std::optional<Dictionary>& options);

    [[nodiscard]] bool enableLog() const;
    void setEnableLog(bool enable);

    [[nodiscard]] bool deliveryChannelEnabeled() const { return deliveryChannelEnabeled_; }
    /// Can only be switched on: the service keeps reporting deliveries for the life of the process.
    void setDeliveryChannelEnabeled(bool enabled);

    /// The way to the REST backend, made on first use, which switches SSL on; always with the current API
    /// key.
    [[nodiscard]] std::shared_ptr<LBRESTAdapter> loopBackAdaptor();
    /// Drops the adaptor; requests in flight do not need it any more.
    void dropLoopBackAdaptor() { adaptor_.reset(); }

    /// Forgets user and installation, in memory only.
    void forgetIdentity();
    /// Removes both from the defaults, with the launches that were counted for them. Does not store it.
    void removeStoredIdentity();

    /// Counts one launch by the user and stores its time.
    void setLaunchStats();
    [[nodiscard]] bool launchedByUser() const { return launchedByUser_; }
    [[nodiscard]] std::optional<std::int64_t> getLaunchCount() const;
    /// Milliseconds since 1970, the fraction dropped; 0 when no launch was counted.
    [[nodiscard]] std::int64_t getLaunchTime() const;

    /// The identity as it is after the last change. From any thread.
    [[nodiscard]] IdentitySnapshot identitySnapshot() const { return sharedIdentity_.copy(); }

private:
    void publishIdentity();

    Surroundings surroundings_;
    NSUserDefaults& defaults_;
    InstallationIdObserver& observer_;
    RegisteredApplication application_;
    bool usingSSLConnection_ = false;
    bool launchedByUser_ = false;
    std::optional<std::string> userId_;
    std::optional<std::string> deviceId_;
    Dictionary userInfo_;
    bool deliveryChannelEnabeled_ = false;
    std::shared_ptr<LBRESTAdapter> adaptor_;
    SharedIdentity sharedIdentity_;
};

}  // namespace xel
