#pragma once

#include "XelPushClient/Classes/Broker/BrokerConnectionObserver.h"
#include "XelPushClient/Classes/Broker/LifecycleMonitor.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Registration/Registration.h"

namespace xel {

struct ClientRooms;

/// What an event in one room means for other areas: connected, registered, another installation, another
/// user, the end of an identity. A room commands those of its own area and those below it by itself, and
/// tells another what concerns that one alone (a push token, a position). All else is decided here.
///
/// Owner: the manager. Thread: the manager's run loop. Holds no state of the client.
class ClientCoordinator final : public LifecycleObserver,
                                public BrokerConnectionObserver,
                                public InstallationIdObserver,
                                public RegistrationObserver {
public:
    explicit ClientCoordinator(ClientRooms& rooms);
    ClientCoordinator(const ClientCoordinator&) = delete;
    ClientCoordinator& operator=(const ClientCoordinator&) = delete;
    ~ClientCoordinator() override;

    // The connection.
    void pendingConnectToServer() override;
    void connectionMustEnd() override;
    void brokerDidConnect() override;
    void brokerConnectionDidClose() override;
    void brokerSessionIsMissing(const NSError& error) override;

    // Registered.
    void registrationSucceeded() override;

    // Another installation.
    void installationIdWillChange() override;
    void installationIdIsAnother() override;
    void installationIsUnknown() override;
    /// Hears the broadcast that says that the service gave another installation id.
    void observeInstallationId();
    void stopObservingInstallationId();

    // Another user, or none.
    void connectionBelongsToFormerUser() override;
    void identityEnds() override;
    /// Returns the client to the unregistered state. Credentials, delegates, blocks and host's settings stay.
    void reset();

private:
    void deviceInstallationChanged();
    void endConnectionOfIdentity();
    void forgetIdentity();
    void removeStoredIdentity();

    ClientRooms& rooms_;
    NSNotificationCenter::Token installationIdObservation_;
};

}  // namespace xel
