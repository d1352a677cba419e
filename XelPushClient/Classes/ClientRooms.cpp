#include "XelPushClient/Classes/ClientRooms.h"

namespace xel {
namespace {

constexpr int kSerial = 1;

}  // namespace

std::shared_ptr<ClientRooms> ClientRooms::make(NSObject& manager, Machine machine, Home home) {
    ClientOwner(machine.runLoop).check();
    auto rooms = std::make_shared<ClientRooms>(manager, std::move(machine), std::move(home));
    // Not in the constructor, in which nobody holds the rooms yet.
    rooms->life.begin(rooms);
    return rooms;
}

ClientRooms::ClientRooms(NSObject& manager, Machine machineToUse, Home homeToUse)
    : owner(machineToUse.runLoop),
      machine(std::move(machineToUse)),
      home(std::move(homeToUse)),
      log(*home.defaults, *machine.logSink, home.writesLog),
      coordinator(*this),
      settings(
          {machine.endpoints, *machine.clock, *machine.bundle, machine.http, machine.json, *home.defaults},
          coordinator),
      fanout({manager, machine.mainRunLoop, home.notificationCenter, log}),
      device(*machine.device, *machine.reachability),
      registrationState(settings, lastFailure, fanout, log),
      // Here and below, rooms are given others that are made after them: they keep the reference, and
      // use it when all are there.
      traffic({life, settings, *machine.json, *machine.clock, log, fanout, connection, subscribedTopics,
               subscriptionRequests, subscriptionAnswers, messageIds, remoteConfiguration, delivery,
               home.diagnostics}),
      locationReports(
          {settings, *home.defaults, *machine.clock, log, location, publisher, record, localNotifications}),
      record(settings, channels, device, token),
      registration({life, machine.runLoop, *machine.json, settings, log, fanout, session, state, lifecycle,
                    channels, tokens, token, record, operationQueue, registrationState, coordinator}),
      diagnostics(home.diagnostics, machine.clock),
      session({settings, *machine.sessions, *machine.runLoop, home.sessionMemory, log, traffic, diagnostics}),
      state(fanout),
      connection({life, settings, lastFailure, machine.endpoints, *machine.runLoop, *machine.application, log,
                  session, state, coordinator, diagnostics}),
      deferred(life, machine.runLoop, home.notificationCenter, log, state),
      lifecycle({life, *machine.runLoop, *machine.application, *machine.reachability, home.notificationCenter,
                 log, fanout, coordinator}),
      channels(settings, *home.defaults, token, log, record),
      subscribedTopics(*home.defaults),
      subscriptionRequests(session),
      subscriptionAnswers({session, channels, subscribedTopics, subscriptionRequests, settings, fanout}),
      subscriptions({life, session, state, deferred, channels, fanout, settings, subscribedTopics,
                     subscriptionRequests, subscriptionAnswers, log, record}),
      messageIds(life, *home.defaults, lastFailure, log),
      location({life, machine.runLoop, *machine.clock, *machine.locationSource, *home.defaults, log,
                locationReports}),
      remoteConfiguration(location, log),
      publisher({life, session, deferred, settings, fanout, *machine.clock, log, home.diagnostics}),
      tokens({life, *machine.application, *machine.notificationCenter, *machine.device, settings, log, fanout,
              token, registration}),
      richNotifications(
          {life, *machine.notificationCenter, *machine.urlSession, *machine.files, *machine.strings, log}),
      localNotifications(*machine.application, channels, richNotifications),
      delivery(session, fanout, localNotifications),
      requests({life, machine.endpoints, machine.http, machine.json, settings, log}),
      verification(life, settings, lastFailure, requests, fanout),
      tags(settings, requests, log),
      crashReports({life,
                    *machine.runLoop,
                    *machine.threads,
                    {machine.clock, machine.device, machine.files, machine.http, machine.endpoints,
                     home.documentsDirectory},
                    settings,
                    log,
                    operationQueue,
                    registrationState,
                    *machine.json,
                    home.diagnostics}) {}

void ClientRooms::makeQueues() {
    operationQueue = machine.operationQueues->makeOperationQueue(
        "com.xel.pushClientQueue", NSOperationQueue::kDefaultMaxConcurrentOperationCount);
    connectionQueue = machine.operationQueues->makeOperationQueue("XelPushConnectionQueue", kSerial);
}

void ClientRooms::end() {
    // First: from here on nothing that still comes in is let through.
    life.end();
    fanout.end();
    coordinator.stopObservingInstallationId();
    lifecycle.end();
    connection.reconnects().cancel();
    // A registration that is still on the stack stops at its next look at the identity.
    registration.forgetIdentity();
    // Last: it stores what was acknowledged, for which there may be no memory.
    session.end();
}

}  // namespace xel
