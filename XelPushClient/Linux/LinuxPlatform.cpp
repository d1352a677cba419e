#include "XelPushClient/Linux/LinuxPlatform.h"

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Desktop/LauncherBadge.h"
#include "XelPushClient/Linux/Desktop/LinuxNotificationCenter.h"
#include "XelPushClient/Linux/Desktop/NotificationPermission.h"
#include "XelPushClient/Linux/Location/GeoClueLocationSource.h"
#include "XelPushClient/Linux/Process/EnvironmentSettings.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Push/LinuxPushTokens.h"
#include "XelPushClient/Linux/Sleep/LogindSleepWatch.h"
#include "XelPushClient/Linux/System/LinuxFolders.h"

namespace xel {

namespace {

std::string withoutSuffix(std::string text, std::string_view suffix) {
    if (text.ends_with(suffix)) {
        text.resize(text.size() - suffix.size());
    }
    return text;
}

/// What the location service knows the host by.
std::string desktopIdOf(const LinuxOptions& options) {
    return orProgramName(withoutSuffix(options.desktopId, ".desktop"));
}

std::string busForSystemServices(const LinuxOptions& options) {
    return options.systemBus ? *options.systemBus : systemBusAddress();
}

std::string applicationNameOf(const LinuxOptions& options) {
    return orProgramName(options.applicationName);
}

/// The application, which is taken through the machine's sleep for as long as the answer is held.
std::shared_ptr<LinuxApplication> makeApplication(const Machine& machine, const LinuxOptions& options) {
    auto application = makeInThisProcess<LinuxApplication>(LinuxApplication::Surroundings{
        machine.runLoop, machine.clock, machine.logSink,
        notificationTypesOfUser(defaultConfigFolder(orProgramName(options.name)).value_or("/nonexistent"))});
    const std::string bus = busForSystemServices(options);
    if (bus.empty()) {
        return application;
    }
    const auto watch = makeInThisProcess<LogindSleepWatch>(machine.runLoop, machine.logSink, application,
                                                           LogindOptions{bus, applicationNameOf(options)});
    // The watch holds the application, so one owner holds both.
    return {watch, application.get()};
}

/// The application, the way of its notifications to the desktop, and that of push messages to it.
void addNotifications(Machine& machine, const LinuxOptions& options) {
    const auto application = makeApplication(machine, options);
    const auto connection = makeInThisProcess<DBusConnection>(
        options.sessionBus ? *options.sessionBus : sessionBusAddress(), "xel-session-bus");
    const DesktopHost host{applicationNameOf(options), withoutSuffix(options.desktopId, ".desktop")};
    const auto center = makeInThisProcess<LinuxNotificationCenter>(LinuxNotificationCenter::Surroundings{
        machine.runLoop, machine.logSink, application, connection, host});
    // Weak: the center holds the application.
    application->setLocalNotificationPresenter(
        [weak = std::weak_ptr(center)](const UILocalNotification& notification) {
            if (const auto desktop = weak.lock()) {
                desktop->presentLocalNotification(notification);
            }
        },
        [weak = std::weak_ptr(center)] {
            if (const auto desktop = weak.lock()) {
                desktop->cancelAllLocalNotifications();
            }
        });
    if (!host.desktopId.empty()) {
        application->setBadgePresenter([badge = LauncherBadge(connection, host.desktopId)](
                                           std::int64_t number) { badge.setCount(number); });
    }
    application->setPushTokenSource(
        makePushTokenSource({options.busName.empty() ? busNameOfEnvironment() : options.busName,
                             host.applicationName, pushDistributorOfEnvironment()},
                            machine, connection, application));
    machine.application = application;
    machine.notificationCenter = center;
}

}  // namespace

Machine makeLinuxMachine(const LinuxOptions& options) {
    Machine machine = makeHeadlessMachine(options);
    machine.locationSource = makeInThisProcess<GeoClueLocationSource>(
        machine.runLoop, GeoClueOptions{busForSystemServices(options), desktopIdOf(options)});
    addNotifications(machine, options);
    return machine;
}

}  // namespace xel
