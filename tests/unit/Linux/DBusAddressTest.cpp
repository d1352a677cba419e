#include <gtest/gtest.h>

#include "XelPushClient/Linux/DBusAddress.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

TEST(DBusAddress, SessionBusIsTheOneThatTheEnvironmentNames) {
    TemporaryEnvironment environment;
    environment.set("XDG_RUNTIME_DIR", "/run/user/1000");
    environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/tmp/bus");
    EXPECT_EQ(sessionBusAddress(), "unix:path=/tmp/bus");
    environment.set("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    EXPECT_EQ(sessionBusAddress(), "unix:path=/run/user/1000/bus");
    environment.set("XDG_RUNTIME_DIR", "/run/us er,;=");
    EXPECT_EQ(sessionBusAddress(), "unix:path=/run/us%20er%2c%3b%3d/bus");
}

TEST(DBusAddress, WithoutASessionThereIsNoSessionBus) {
    TemporaryEnvironment environment;
    environment.set("XDG_RUNTIME_DIR", std::nullopt);
    environment.set("DBUS_SESSION_BUS_ADDRESS", "");
    EXPECT_EQ(sessionBusAddress(), "");
}

TEST(DBusAddress, SystemBusIsTheWellKnownOneUnlessNamed) {
    TemporaryEnvironment environment;
    environment.set("DBUS_SYSTEM_BUS_ADDRESS", std::nullopt);
    EXPECT_EQ(systemBusAddress(), "unix:path=/run/dbus/system_bus_socket");
    environment.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/tmp/system");
    EXPECT_EQ(systemBusAddress(), "unix:path=/tmp/system");
}

}  // namespace
}  // namespace xel
