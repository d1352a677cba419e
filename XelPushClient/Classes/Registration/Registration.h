#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Classes/Broker/BrokerConnectionState.h"
#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Broker/LifecycleMonitor.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Notifications/PushTokens.h"
#include "XelPushClient/Classes/Registration/InstallationRecord.h"
#include "XelPushClient/Classes/Registration/RegistrationState.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/NSOperationQueue.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Carries out what a registration means for the rest of the client. On the manager's run loop.
class RegistrationObserver {
public:
    virtual ~RegistrationObserver() = default;

    /// The installation is saved and reported: connect.
    virtual void registrationSucceeded() = 0;
    /// The service gave another installation id than the one held; the held one is replaced after this
    /// returns.
    virtual void installationIdWillChange() = 0;
    /// The service no longer knows this installation: forget id, session and granted topics. While the store
    /// keeps the id, the rest is kept too.
    virtual void installationIsUnknown() = 0;
    /// Another user takes over while the client is connected.
    virtual void connectionBelongsToFormerUser() = 0;
    /// The installation is being removed: forget the identity.
    virtual void identityEnds() = 0;
};

/// Registers the application and its user: credentials, user id, channels, push token, installation record.
///
/// Owner: the manager. Thread: the manager's run loop. Every outcome is reported through
/// `RegistrationState`, but a channel that is not valid: it is a failed subscription.
class Registration final : public DeviceRegistration {
public:
    struct Surroundings {
        const ClientLife& life;
        const std::shared_ptr<NSRunLoop>& runLoop;
        NSJSONSerialization& json;
        ClientSettings& settings;
        const LogOutput& log;
        EventFanout& fanout;
        BrokerSession& session;
        const BrokerConnectionState& connectionState;
        const LifecycleMonitor& lifecycle;
        ChannelStore& channels;
        PushTokens& tokens;
        const PushTokenState& token;
        InstallationRecord& record;
        const std::shared_ptr<NSOperationQueue>& operationQueue;
        RegistrationState& state;
        RegistrationObserver& observer;
    };

    using Removed = LBInstallation::Removed;
    using Failure = LBInstallation::Failure;

    explicit Registration(Surroundings surroundings);

    bool registerApplication(const std::optional<std::string>& appId,
                             const std::optional<std::string>& apiKey,
                             const std::optional<std::string>& userName,
                             const std::optional<std::string>& password);
    bool registerUser(const std::optional<std::string>& userId, const std::vector<std::string>& channels);
    bool registerAgainWithUserId(const std::optional<std::string>& userId,
                                 const std::vector<std::string>& channels);
    bool registerDeviceToServer() override;
    void unregisterUser(Removed success, Failure failure);

    /// Nobody is registered any more. Saves that are under way are ignored when they are answered: they
    /// belong to an identity that has ended.
    void forgetIdentity();

private:
    void handleRegistrationSuccess();
    bool refuse(const NSError& error);
    [[nodiscard]] std::optional<NSError> registerAgainRefusal(const std::optional<std::string>& userId);
    /// Adds the channels' topics; false after reporting the first that is not valid.
    bool addChannels(const std::vector<std::string>& channels);
    void continueAsUser(const std::string& userId, const std::vector<std::string>& channels);
    /// Returns this room while it exists and its identity has not ended, then null.
    [[nodiscard]] std::function<std::shared_ptr<Registration>()> whileIdentityLasts() const;
    void saveInstallation();
    void installationWasSaved(const std::optional<LBInstallation>& installation);
    void installationSaveFailed(const NSError& error);

    Surroundings surroundings_;
    std::uint64_t identityGeneration_ = 0;
    ClientLife::WayInto<Registration> wayIn_;
};

}  // namespace xel
