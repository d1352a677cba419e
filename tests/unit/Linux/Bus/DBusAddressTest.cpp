#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "XelPushClient/Linux/Bus/DBusText.h"
#include "tests/contract/Store/TemporaryFolder.h"
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

/// Listens at a socket of the file system until it goes.
class ListeningSocket {
public:
    explicit ListeningSocket(const std::string& path)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(::listen(socket_, 1), 0);
    }
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;
    ~ListeningSocket() { ::close(socket_); }

private:
    int socket_;
};

TEST(DBusAddress, NamesTheReasonWhenNobodyListens) {
    const contract::TemporaryFolder folder;
    EXPECT_EQ(refusalOfBus("unix:path=" + folder.path() + "/bus"), "No such file or directory");
    { const ListeningSocket gone(folder.path() + "/bus"); }
    EXPECT_EQ(refusalOfBus("unix:path=" + folder.path() + "/bus,guid=00"), "Connection refused");
    EXPECT_EQ(refusalOfBus("unix:abstract=xelpush-nobody-is-here"), "Connection refused");
}

TEST(DBusAddress, HasNothingAgainstABusThatListens) {
    const contract::TemporaryFolder folder;
    const ListeningSocket plain(folder.path() + "/bus");
    EXPECT_FALSE(refusalOfBus("unix:path=" + folder.path() + "/bus"));
    const ListeningSocket odd(folder.path() + "/a bus");
    EXPECT_FALSE(refusalOfBus("unix:path=" + folder.path() + "/a%20bus,guid=00"));
}

TEST(DBusAddress, RefusesATextThatIsNoAddress) {
    EXPECT_EQ(refusalOfBus("no address at all"), "'no address at all' is no address of a bus");
}

TEST(DBusAddress, LeavesOtherKindsOfAddressAlone) {
    for (const char* address :
         {"unix:path=", "tcp:host=localhost,port=1", "unix:path=/none;unix:path=/none", "autolaunch:"}) {
        EXPECT_FALSE(refusalOfBus(address)) << address;
    }
}

}  // namespace
}  // namespace xel
