#pragma once

#include <memory>

#include "XelPushClient/Classes/Broker/BrokerConnection.h"
#include "XelPushClient/Classes/Broker/ConnectionDiagnostics.h"
#include "XelPushClient/Classes/Broker/DeferredWork.h"
#include "XelPushClient/Classes/Broker/LifecycleMonitor.h"
#include "XelPushClient/Classes/ClientCoordinator.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientOwner.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Classes/Device/DeviceDescription.h"
#include "XelPushClient/Classes/GeoLocation/GeoLocation.h"
#include "XelPushClient/Classes/Messaging/InboundTraffic.h"
#include "XelPushClient/Classes/Messaging/LocationReports.h"
#include "XelPushClient/Classes/Messaging/MessageDelivery.h"
#include "XelPushClient/Classes/Messaging/MessageIds.h"
#include "XelPushClient/Classes/Messaging/Publisher.h"
#include "XelPushClient/Classes/Messaging/RemoteConfiguration.h"
#include "XelPushClient/Classes/Notifications/LocalNotifications.h"
#include "XelPushClient/Classes/Notifications/PushTokens.h"
#include "XelPushClient/Classes/Notifications/RichNotifications.h"
#include "XelPushClient/Classes/Registration/CrashReports.h"
#include "XelPushClient/Classes/Registration/InstallationRecord.h"
#include "XelPushClient/Classes/Registration/Registration.h"
#include "XelPushClient/Classes/Registration/RestRequests.h"
#include "XelPushClient/Classes/Registration/Tags.h"
#include "XelPushClient/Classes/Registration/Verification.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"
#include "XelPushClient/Classes/Topics/Subscriptions.h"
#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel {

/// Every room of one client, in the order in which they depend on each other: the place where they are wired.
///
/// Whoever enters holds them, so that they outlast a manager that a host destroys inside a callback.
struct ClientRooms {
    /// The rooms of a client that has begun. Throws `std::logic_error` when the calling thread may not use
    /// it.
    [[nodiscard]] static std::shared_ptr<ClientRooms> make(NSObject& manager, Machine machine, Home home);

    ClientRooms(NSObject& manager, Machine machineToUse, Home homeToUse);
    ClientRooms(const ClientRooms&) = delete;
    ClientRooms& operator=(const ClientRooms&) = delete;
    ~ClientRooms() = default;

    /// Makes both queues; until then there are none. Reachability is followed before.
    void makeQueues();

    /// The manager is being destroyed: nothing more is reported, the connection is closed without a word, and
    /// what is still on the stack goes on to its end.
    void end();

    const ClientOwner owner;
    ClientLife life;
    const Machine machine;
    const Home home;
    std::shared_ptr<NSOperationQueue> operationQueue;
    /// Made with the client and kept for it; nothing runs on it.
    std::shared_ptr<NSOperationQueue> connectionQueue;
    LogOutput log;
    ClientCoordinator coordinator;
    PushTokenState token;
    ClientSettings settings;
    LastFailure lastFailure;
    EventFanout fanout;
    DeviceDescription device;
    RegistrationState registrationState;

    // Told by rooms below them, and so made before those.
    InboundTraffic traffic;
    LocationReports locationReports;
    InstallationRecord record;
    Registration registration;

    ConnectionDiagnostics diagnostics;
    BrokerSession session;
    BrokerConnectionState state;
    BrokerConnection connection;
    DeferredWork deferred;
    LifecycleMonitor lifecycle;
    ChannelStore channels;
    SubscribedTopics subscribedTopics;
    SubscriptionRequests subscriptionRequests;
    SubscriptionAnswers subscriptionAnswers;
    Subscriptions subscriptions;
    MessageIds messageIds;
    GeoLocation location;
    RemoteConfiguration remoteConfiguration;
    Publisher publisher;
    PushTokens tokens;
    RichNotifications richNotifications;
    LocalNotifications localNotifications;
    MessageDelivery delivery;
    RestRequests requests;
    Verification verification;
    Tags tags;
    CrashReports crashReports;
};

}  // namespace xel
