#include "XelPushClient/Classes/ClientRooms.h"

namespace xel {
namespace {

constexpr int kSerial = 1;

}  // namespace

std::shared_ptr<ClientRooms> ClientRooms::make(NSObject& manager, Machine machine, Home home) {
    ClientOwner(machine.runLoop).check();
    auto rooms = std::make_shared<ClientRooms>(manager, std::move(machine), std::move(home));
    rooms->life.begin(rooms);
    return rooms;
}

ClientRooms::ClientRooms(NSObject& manager, Machine machineToUse, Home homeToUse)
    : owner(machineToUse.runLoop),
      machine(std::move(machineToUse)),
      home(std::move(homeToUse)),
      log(*home.defaults, *machine.logSink),
      coordinator(*this),
      settings(machine, home),
      fanout({manager, machine.mainRunLoop, home.notificationCenter, log}),
      device(machine),
      connection(life, settings, lastFailure, machine, home, log, {coordinator, coordinator}),
      deferred(life, machine, home, log, connection),
      lifecycle({life, machine, home, log, connection, fanout, coordinator}),
      channels(settings, *home.defaults, token, log, coordinator),
      subscriptions({connection, deferred, channels, fanout, settings, *home.defaults, log, coordinator}),
      messageIds(*home.defaults, lastFailure, log),
      location({life, machine, *home.defaults, log, coordinator}),
      remoteConfiguration(location, log),
      pipeline({settings, messageIds, *machine.json, *machine.clock, log, coordinator, remoteConfiguration}),
      publisher({connection, deferred, settings, fanout, *machine.clock, log}),
      locationReports({settings, *home.defaults, *machine.clock, log, location, publisher, coordinator}),
      tokens({life, machine, settings, log, fanout, token, coordinator}),
      richNotifications({life, machine, log}),
      localNotifications(*machine.application, channels, richNotifications),
      record(settings, channels, device, token),
      registration({life, machine, settings, lastFailure, log, fanout, connection, lifecycle, channels,
                    tokens, token, record, operationQueue, coordinator}),
      requests(machine, settings, log),
      verification(life, settings, lastFailure, requests, fanout),
      tags(settings, requests, log),
      crashReports({life, machine, home, settings, log, operationQueue, registration}) {}

void ClientRooms::makeQueues() {
    operationQueue = machine.operationQueues->makeOperationQueue(
        "com.xel.pushClientQueue", NSOperationQueue::kDefaultMaxConcurrentOperationCount);
    connectionQueue = machine.operationQueues->makeOperationQueue("XelPushConnectionQueue", kSerial);
}

void ClientRooms::end() {
    life.end();
    fanout.end();
    coordinator.stopObservingInstallationId();
    lifecycle.end();
    connection.end();
    registration.forgetIdentity();
}

}  // namespace xel
