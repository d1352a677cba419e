#include "XelPushClient/Classes/ClientRooms.h"

namespace xel {
namespace {

constexpr int kSerial = 1;

}  // namespace

ClientRooms::ClientRooms(NSObject& managerObject, Machine machineToUse, Home homeToUse)
    : manager(managerObject),
      machine(std::move(machineToUse)),
      home(std::move(homeToUse)),
      log(*home.defaults, *machine.logSink),
      coordinator(*this),
      settings(machine, home),
      fanout({manager, machine.mainRunLoop, home.notificationCenter, log}),
      device(machine),
      connection(settings, machine, home, log, {coordinator, coordinator}),
      deferred(machine, home, log, connection),
      lifecycle({machine, home, log, connection, fanout, coordinator}),
      channels(settings, *home.defaults, token, log, coordinator),
      subscriptions({connection, deferred, channels, fanout, settings, *home.defaults, log, coordinator}),
      messageIds(*home.defaults, settings, log),
      location({machine, *home.defaults, log, coordinator}),
      remoteConfiguration(location, log),
      pipeline({settings, messageIds, *machine.json, *machine.clock, log, coordinator, remoteConfiguration}),
      publisher({connection, deferred, settings, fanout, *machine.clock, log}),
      locationReports({settings, *home.defaults, *machine.clock, log, location, publisher, coordinator}),
      tokens({machine, settings, log, fanout, token, coordinator}),
      richNotifications({machine, log}),
      localNotifications(*machine.application, channels, richNotifications),
      record(settings, channels, device, token),
      registration({machine, settings, log, fanout, connection, lifecycle, channels, tokens, token, record,
                    operationQueue, coordinator}),
      requests(machine, settings, log),
      verification(settings, requests, fanout),
      tags(settings, requests, log),
      crashReports({machine, home, settings, log, operationQueue, registration}) {}

void ClientRooms::makeQueues() {
    operationQueue = machine.operationQueues->makeOperationQueue(
        "com.xel.pushClientQueue", NSOperationQueue::kDefaultMaxConcurrentOperationCount);
    connectionQueue = machine.operationQueues->makeOperationQueue("XelPushConnectionQueue", kSerial);
}

}  // namespace xel
