#include "XelPushClient/Linux/Desktop/LauncherBadge.h"

#include <map>
#include <utility>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Bus/DBusText.h"

namespace xel {

namespace {

constexpr const char* kLauncherEntryPath = "/com/canonical/unity/launcherentry/xelpush";
constexpr const char* kInterface = "com.canonical.Unity.LauncherEntry";

}  // namespace

LauncherBadge::LauncherBadge(std::shared_ptr<DBusConnection> connection, const std::string& desktopId)
    : connection_(std::move(connection)), desktopId_(textForDBus(desktopId)) {}

void LauncherBadge::setCount(std::int64_t count) const {
    connection_->perform(
        [application = "application://" + desktopId_ + ".desktop", count](sdbus::IConnection& bus) {
            const std::map<std::string, sdbus::Variant> properties{
                {"count", sdbus::Variant(count > 0 ? count : std::int64_t{0})},
                {"count-visible", sdbus::Variant(count > 0)}};
            const auto object = sdbus::createObject(bus, kLauncherEntryPath);
            auto update = object->createSignal(kInterface, "Update");
            update << application << properties;
            object->emitSignal(update);
        });
}

}  // namespace xel
