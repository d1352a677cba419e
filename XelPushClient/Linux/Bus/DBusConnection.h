#pragma once

#include <functional>
#include <memory>
#include <string>

#include "XelPushClient/Foundation/NSError.h"

namespace sdbus {
class IConnection;
}

namespace xel {

/// Domain of the errors of D-Bus; the failure reason is the error's D-Bus name.
inline constexpr std::string_view kDBusErrorDomain = "DBusError";

enum class DBusErrorCode : std::int64_t {
    NoBus = 1,   ///< there is no bus, or it is gone
    Failed = 2,  ///< a call was refused or not answered
};

/// One connection to a D-Bus daemon, with a thread of its own on which everything of sdbus-c++ happens.
///
/// The thread starts, and the bus is opened, with the first work. A bus that goes away is opened again by the
/// next work that comes. Thread: `perform` from any thread, and it never waits; what is handed over runs on
/// the connection's thread, which serves all users of the connection: it must not block for long, so calls
/// are made asynchronously.
class DBusConnection {
public:
    using Work = std::function<void(sdbus::IConnection&)>;
    using Failure = std::function<void(const NSError&)>;

    /// The address as D-Bus writes it ("unix:path=…"); an empty one is a bus that is not there. The name of
    /// the thread, at most 15 characters, shows in debuggers.
    DBusConnection(std::string address, std::string threadName);
    DBusConnection(const DBusConnection&) = delete;
    DBusConnection& operator=(const DBusConnection&) = delete;
    /// Drops work that has not begun, runs what `atClosing` was given, and closes the bus. From the
    /// connection's own thread, and while the bus is being opened, it does so without waiting.
    ~DBusConnection();

    /// Runs the work with the open connection; what it throws goes to `failure`, a D-Bus error by its name,
    /// and so does the error when there is no bus. An exception that leaves a callback of sdbus-c++ closes
    /// the connection. Either runs on the connection's thread; `failure` may be empty.
    void perform(Work work, Failure failure = nullptr);

    /// Called once, when this very connection ends, lost or closed, just before it is gone: proxies, objects
    /// and matches that were made on it are dropped there. Only from inside work or a D-Bus callback.
    void atClosing(std::function<void()> block);

private:
    class Worker;

    std::shared_ptr<Worker> worker_;
};

/// A `DBusErrorCode` error. The reason is a D-Bus error name, such as
/// "org.freedesktop.DBus.Error.ServiceUnknown".
[[nodiscard]] NSError makeDBusError(DBusErrorCode code, const std::string& reason,
                                    const std::string& description);

}  // namespace xel
