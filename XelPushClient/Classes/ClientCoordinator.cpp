#include "XelPushClient/Classes/ClientCoordinator.h"

#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {

ClientCoordinator::ClientCoordinator(ClientRooms& rooms) : rooms_(rooms) {}

ClientCoordinator::~ClientCoordinator() {
    stopObservingInstallationId();
}

// ---- The connection.

void ClientCoordinator::pendingConnectToServer() {
    if (rooms_.registrationState.isPending()) {
        // Once it is through it connects by itself.
        rooms_.registration.registerDeviceToServer();
    } else {
        rooms_.connection.connectToServer();
    }
}

void ClientCoordinator::connectionMustEnd() {
    rooms_.connection.disconnectFromServer();
}

void ClientCoordinator::brokerDidConnect() {
    rooms_.subscriptions.subscribeAfterConnect();
}

void ClientCoordinator::brokerConnectionDidClose() {
    // The task kept a process in the background going for its connection only.
    rooms_.lifecycle.endBackgroundTask();
}

void ClientCoordinator::brokerSessionIsMissing(const NSError& error) {
    rooms_.registrationState.handleRegistrationFailWithError(error);
}

// ---- Registered.

void ClientCoordinator::registrationSucceeded() {
    rooms_.connection.connectToServer();
}

// ---- Another installation.

// By way of the notification centre and back to `deviceInstallationChanged`, so that a host which detached
// the client from it (`removeAppLifeCyclesFunctionality`) keeps its session.
void ClientCoordinator::installationIdWillChange() {
    rooms_.fanout.postNow(PushClientDidChangedInstallationIdNotification);
}

void ClientCoordinator::deviceInstallationChanged() {
    rooms_.subscriptionRequests.forgetIdentity();
    // In memory only: the next connect loads the stored ones.
    rooms_.channels.topics.reset();
    // The client id names the installation, so another one needs another session.
    rooms_.session.drop();
}

// What the broker granted was granted to the installation of before.
void ClientCoordinator::installationIdIsAnother() {
    rooms_.subscribedTopics.removeStoredIdentity();
}

void ClientCoordinator::installationIsUnknown() {
    rooms_.settings.setDeviceId(std::nullopt);
    if (rooms_.settings.deviceId()) {
        return;
    }
    rooms_.session.forgetBrokerClientId();
    rooms_.session.drop();
    rooms_.subscribedTopics.removeStoredIdentity();
    (void)rooms_.home.defaults->synchronize();
}

void ClientCoordinator::observeInstallationId() {
    installationIdObservation_ = rooms_.home.notificationCenter->addObserver(
        PushClientDidChangedInstallationIdNotification, nullptr,
        [wayIn = rooms_.life.wayInto(*this)](const NSNotification&) {
            if (const auto self = wayIn.hold()) {
                self->deviceInstallationChanged();
            }
        });
}

void ClientCoordinator::stopObservingInstallationId() {
    rooms_.home.notificationCenter->removeObserver(installationIdObservation_);
}

// ---- Another user, or none.

void ClientCoordinator::connectionBelongsToFormerUser() {
    // Dropping alone would leave a planned reconnect standing.
    doThenAlways([this] { rooms_.connection.disconnectFromServer(); }, [this] { rooms_.session.drop(); });
}

void ClientCoordinator::identityEnds() {
    reset();
}

void ClientCoordinator::reset() {
    // Killed before the end, the client must not count on topics that the broker has no more.
    if (!rooms_.subscribedTopics.load().empty()) {
        rooms_.subscribedTopics.removeStoredIdentity();
        (void)rooms_.home.defaults->synchronize();
    }
    // First, because what unsubscribes and disconnects still needs to know who it is. The rest also when the
    // host's callback throws in the report of the closing: half of an identity is nobody's.
    doThenAlways([this] { endConnectionOfIdentity(); },
                 [this] {
                     forgetIdentity();
                     removeStoredIdentity();
                     (void)rooms_.home.defaults->synchronize();
                 });
}

void ClientCoordinator::endConnectionOfIdentity() {
    doThenAlways(
        [this] {
            if (rooms_.state.isConnected()) {
                rooms_.subscriptions.unsubscribeFromEverything();
                // Stays on after an orderly close, as hosts know it: no
                // reconnect follows the next error, whichever session's it is.
                rooms_.connection.reconnects().forceNextClose();
                rooms_.connection.disconnectFromServer();
            }
        },
        // Kept, it would take what is published from now on for the identity that ends.
        [this] { rooms_.session.drop(); });
}

// What is held in memory. What sessions remember goes by the client id, so it is erased while user and
// installation are still known; the copy of that id is the last to go.
void ClientCoordinator::forgetIdentity() {
    rooms_.settings.dropLoopBackAdaptor();
    rooms_.session.eraseMemory();
    rooms_.settings.forgetIdentity();
    // After the closing, in whose report a host may have asked for more.
    rooms_.deferred.dropWorkOfIdentity();
    rooms_.subscriptionRequests.forgetIdentity();
    rooms_.channels.forgetIdentity();
    rooms_.messageIds.forgetIdentity();
    rooms_.registration.forgetIdentity();
    rooms_.session.forgetBrokerClientId();
}

// What is stored: each room its keys. Killed between any two of them, the client finds all or nothing: the
// defaults are written once, afterwards.
void ClientCoordinator::removeStoredIdentity() {
    rooms_.subscribedTopics.removeStoredIdentity();
    rooms_.channels.removeStoredIdentity();
    rooms_.messageIds.removeStoredIdentity();
    rooms_.settings.removeStoredIdentity();
}

}  // namespace xel
