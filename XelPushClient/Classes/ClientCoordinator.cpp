#include "XelPushClient/Classes/ClientCoordinator.h"

#include <array>

#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Messaging/PublicationErrors.h"
#include "XelPushClient/Classes/Notifications/RegionNotification.h"

namespace xel {

ClientCoordinator::ClientCoordinator(ClientRooms& rooms) : rooms_(rooms) {}

ClientCoordinator::~ClientCoordinator() {
    stopObservingInstallationId();
}

// ---- The connection.

void ClientCoordinator::connectionStateWasAssigned() {
    if (!rooms_.connection.isConnected()) {
        rooms_.subscriptions.forgetUnansweredBatches();
    }
    rooms_.fanout.callBackConnectionStateDidChanged();
}

void ClientCoordinator::brokerDidConnect() {
    rooms_.subscriptions.subscribeAfterConnect();
}

void ClientCoordinator::brokerConnectionDidClose() {
    rooms_.lifecycle.endBackgroundTask();
}

void ClientCoordinator::brokerSessionIsMissing(const NSError& error) {
    rooms_.registration.handleRegistrationFailWithError(error);
}

void ClientCoordinator::pendingConnectToServer() {
    if (rooms_.registration.pendingRegisteration()) {
        rooms_.registration.registerDeviceToServer();
    } else {
        rooms_.connection.connectToServer();
    }
}

// ---- Traffic.

void ClientCoordinator::turnWillBegin() {
    rooms_.messageIds.beginTurn();
}

void ClientCoordinator::publicationArrived(const MQTTPublication& publication) {
    rooms_.pipeline.handleNewMessage(publication.data, publication.topic,
                                     publication.isRepeat ? Arrival::Repeat : Arrival::First);
}

void ClientCoordinator::turnWillClose(std::function<void()> acknowledge) {
    rooms_.messageIds.closeTurn(std::move(acknowledge));
}

void ClientCoordinator::subscriptionWasAnswered(std::uint16_t packetId,
                                                std::span<const std::uint8_t> grantedQoss) {
    rooms_.subscriptions.subAckReceived(packetId, grantedQoss);
}

void ClientCoordinator::unsubscriptionWasAnswered(std::uint16_t packetId) {
    rooms_.subscriptions.unsubAckReceived(packetId);
}

void ClientCoordinator::restoredTopicWasRefused(std::string_view topic) {
    rooms_.subscriptions.removeTopicFromUserDefault(topic);
}

void ClientCoordinator::publicationFailed(std::string_view payload, std::string_view topic,
                                          const NSError& error) {
    const auto document = rooms_.machine.json->JSONObjectWithData(payload);
    const Dictionary* members = document ? document.value().asDictionary() : nullptr;
    rooms_.fanout.invokePushClientManagerDidFailInPublish(
        makePublicationError(topic, members != nullptr ? *members : Dictionary(), error));
}

void ClientCoordinator::subscriptionFailed(std::string_view topic, const NSError& error) {
    rooms_.subscriptions.subscriptionFailed(topic, error);
}

void ClientCoordinator::unsubscriptionFailed(std::string_view topic, const NSError& error) {
    rooms_.subscriptions.unsubscriptionFailed(topic, error);
}

// ---- Messages.

void ClientCoordinator::messageArrived(const std::shared_ptr<const PushClientMessage>& message) {
    const auto generation = rooms_.connection.sessionGeneration();
    const bool hostShowsNotifications = rooms_.fanout.callbackNewMessageReceived(message);
    const bool sessionGoesOn = generation == rooms_.connection.sessionGeneration();
    if (sessionGoesOn && !hostShowsNotifications) {
        rooms_.localNotifications.showNotificationFor(*message);
    }
}

void ClientCoordinator::deliveryArrived(const DeliveryMessage& delivery) {
    rooms_.fanout.callbackNewDeliveryReceived(delivery);
}

void ClientCoordinator::eventArrived(const EventMessage& event) {
    rooms_.fanout.callBackNewEventMessageReceived(event);
}

// ---- The location.

void ClientCoordinator::regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                                         const Value& message) {
    const auto* name = crossing == RegionCrossing::Entered ? "enter" : "exit";
    if (auto notification = regionNotification(message, region.identifier, name)) {
        auto& application = *rooms_.machine.application;
        notification->applicationIconBadgeNumber = application.applicationIconBadgeNumber();
        application.presentLocalNotificationNow(*notification);
    }
}

void ClientCoordinator::positionWasTracked(const CLLocation& location) {
    rooms_.locationReports.publishLocation(location);
}

void ClientCoordinator::launchWasNotByUser() {
    rooms_.record.setApplicationLaunch(false);
}

// ---- Registration.

void ClientCoordinator::pushTokenArrived() {
    rooms_.registration.registerDeviceToServer();
}

void ClientCoordinator::registrationSucceeded() {
    rooms_.connection.connectToServer();
}

void ClientCoordinator::installationUpdateWanted() {
    rooms_.record.updateQuietly();
}

void ClientCoordinator::installationIdWillChange() {
    // By way of the notification centre, so that a host which detached the client from it keeps its session.
    rooms_.fanout.postNow(PushClientDidChangedInstallationIdNotification);
}

void ClientCoordinator::deviceInstallationChanged() {
    rooms_.subscriptions.forgetBatch();
    rooms_.channels.topics.reset();
    rooms_.connection.dropSession();
}

void ClientCoordinator::installationIsUnknown() {
    rooms_.settings.setDeviceId(std::nullopt);
    rooms_.connection.forgetBrokerClientId();
    rooms_.connection.dropSession();
    rooms_.home.defaults->removeObject(kSubscribedTopicsKey);
    (void)rooms_.home.defaults->synchronize();
}

void ClientCoordinator::connectionBelongsToFormerUser() {
    rooms_.connection.disconnectFromServer();
    rooms_.connection.dropSession();
}

void ClientCoordinator::identityEnds() {
    reset();
}

void ClientCoordinator::observeInstallationId() {
    installationIdObservation_ = rooms_.home.notificationCenter->addObserver(
        std::string(PushClientDidChangedInstallationIdNotification), nullptr,
        [wayIn = rooms_.life.wayInto(*this)](const NSNotification&) {
            if (const auto self = wayIn.hold()) {
                self->deviceInstallationChanged();
            }
        });
}

void ClientCoordinator::stopObservingInstallationId() {
    rooms_.home.notificationCenter->removeObserver(installationIdObservation_);
}

void ClientCoordinator::reset() {
    if (rooms_.connection.isConnected()) {
        rooms_.subscriptions.unsubscribeFromEverything();
        rooms_.connection.forceNextClose();
        rooms_.connection.disconnectFromServer();
    }
    rooms_.connection.dropSession();
    rooms_.settings.dropLoopBackAdaptor();
    rooms_.connection.eraseSessionMemory();
    rooms_.settings.setUserId(std::nullopt);
    rooms_.settings.setDeviceId(std::nullopt);
    rooms_.deferred.dropWorkOfIdentity();
    rooms_.subscriptions.forgetBatch();
    rooms_.channels.forgetIdentity();
    rooms_.messageIds.forget();
    rooms_.registration.forgetIdentity();
    constexpr std::array kForgottenKeys = {kSubscribedTopicsKey, kNotificationSettingsKey, kUserChannelsKey,
                                           kSubscribedUserChannelsKey, kMessageIdsKey};
    for (const auto key : kForgottenKeys) {
        rooms_.home.defaults->removeObject(key);
    }
    rooms_.settings.forgetStoredIdentity();
    (void)rooms_.home.defaults->synchronize();
}

}  // namespace xel
