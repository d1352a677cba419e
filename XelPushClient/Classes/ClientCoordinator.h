#pragma once

#include "XelPushClient/Classes/Broker/BrokerObservers.h"
#include "XelPushClient/Classes/Broker/LifecycleMonitor.h"
#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Classes/Messaging/InboundPipeline.h"
#include "XelPushClient/Classes/Messaging/LocationReports.h"
#include "XelPushClient/Classes/Notifications/PushTokens.h"
#include "XelPushClient/Classes/Registration/Registration.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"

namespace xel {

struct ClientRooms;

/// What an event in one room means for the others. All policy that crosses areas is here, and only here.
///
/// Owner: the manager. Thread: the manager's run loop. Holds no state of the client.
class ClientCoordinator final : public BrokerConnectionObserver,
                                public BrokerTrafficObserver,
                                public PendingWorkObserver,
                                public InstallationUpdateObserver,
                                public InboundObserver,
                                public GeoLocationObserver,
                                public LaunchObserver,
                                public PushTokenObserver,
                                public RegistrationObserver {
public:
    explicit ClientCoordinator(ClientRooms& rooms);
    ClientCoordinator(const ClientCoordinator&) = delete;
    ClientCoordinator& operator=(const ClientCoordinator&) = delete;
    ~ClientCoordinator() override;

    /// Hears the broadcast that says that the service gave another installation id.
    void observeInstallationId();
    void stopObservingInstallationId();

    /// Returns the client to the unregistered state. Credentials, delegates, blocks and host's settings stay.
    void reset();

    // The connection.
    void connectionStateWasAssigned() override;
    void brokerDidConnect() override;
    void brokerConnectionDidClose() override;
    void brokerSessionIsMissing(const NSError& error) override;
    void pendingConnectToServer() override;

    // Traffic.
    void turnWillBegin() override;
    void publicationArrived(const MQTTPublication& publication) override;
    void turnWillClose(std::function<void()> acknowledge) override;
    void subscriptionWasAnswered(std::uint16_t packetId, std::span<const std::uint8_t> grantedQoss) override;
    void unsubscriptionWasAnswered(std::uint16_t packetId) override;
    void restoredTopicWasRefused(std::string_view topic) override;
    void publicationFailed(std::string_view payload, std::string_view topic, const NSError& error) override;
    void subscriptionFailed(std::string_view topic, const NSError& error) override;
    void unsubscriptionFailed(std::string_view topic, const NSError& error) override;

    // Messages.
    void messageArrived(const std::shared_ptr<const PushClientMessage>& message) override;
    void deliveryArrived(const DeliveryMessage& delivery) override;
    void eventArrived(const EventMessage& event) override;

    // The location.
    void regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                          const Value& message) override;
    void positionWasTracked(const CLLocation& location) override;
    void launchWasNotByUser() override;

    // Registration.
    void pushTokenArrived() override;
    void registrationSucceeded() override;
    void installationIdWillChange() override;
    void installationIsUnknown() override;
    void connectionBelongsToFormerUser() override;
    void identityEnds() override;
    void installationUpdateWanted() override;

private:
    void deviceInstallationChanged();

    ClientRooms& rooms_;
    NSNotificationCenter::Token installationIdObservation_;
};

}  // namespace xel
