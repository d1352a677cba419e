#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Classes/Broker/BrokerConnection.h"
#include "XelPushClient/Classes/Broker/LifecycleMonitor.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Classes/Notifications/PushTokens.h"
#include "XelPushClient/Classes/Registration/InstallationRecord.h"
#include "XelPushClient/Platform/NSOperationQueue.h"

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
    /// The service no longer knows this installation: forget id, session and granted topics.
    virtual void installationIsUnknown() = 0;
    /// Another user takes over while the client is connected.
    virtual void connectionBelongsToFormerUser() = 0;
    /// The installation is being removed: forget the identity.
    virtual void identityEnds() = 0;
};

/// Registers the application and its user: credentials, user id, channels, push token, installation record.
///
/// Owner: the manager. Thread: the manager's run loop. Every failure is reported through
/// `handleRegistrationFailWithError`.
class Registration {
public:
    struct Surroundings {
        const ClientLife& life;
        const Machine& machine;
        ClientSettings& settings;
        LastFailure& lastFailure;
        const LogOutput& log;
        EventFanout& fanout;
        BrokerConnection& connection;
        const LifecycleMonitor& lifecycle;
        ChannelStore& channels;
        PushTokens& tokens;
        const PushTokenState& token;
        InstallationRecord& record;
        const std::shared_ptr<NSOperationQueue>& operationQueue;
        RegistrationObserver& observer;
    };

    using Removed = LBInstallation::Removed;
    using Failure = LBInstallation::Failure;

    explicit Registration(Surroundings surroundings);

    [[nodiscard]] bool isRegistered() const { return registered_; }
    /// The last registration failed because of the network: repeat it when the network is back.
    [[nodiscard]] bool pendingRegisteration() const { return pendingRegisteration_; }

    bool registerApplication(const std::optional<std::string>& appId,
                             const std::optional<std::string>& apiKey,
                             const std::optional<std::string>& userName,
                             const std::optional<std::string>& password);
    bool registerUser(const std::optional<std::string>& userId, const std::vector<std::string>& channels);
    bool registerAgainWithUserId(const std::optional<std::string>& userId,
                                 const std::vector<std::string>& channels);
    /// Queues the installation save; false, doing nothing, without a push token or a user.
    bool registerDeviceToServer();
    void unregisterUser(Removed success, Failure failure);

    void handleRegistrationFailWithError(const NSError& error);

    /// Nobody is registered any more. Saves that are under way are ignored when they are answered: they
    /// belong to an identity that has ended.
    void forgetIdentity() {
        ++identityGeneration_;
        registered_ = false;
    }

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
    /// Written on the loop; hosts that hear a broadcast ask on its thread.
    std::atomic<bool> registered_ = false;
    bool pendingRegisteration_ = false;
    std::uint64_t identityGeneration_ = 0;
    ClientLife::WayInto<Registration> wayIn_;
};

}  // namespace xel
