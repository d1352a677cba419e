#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace sdbus {
class Variant;
}

namespace xel {

class DBusConnection;
class LinuxApplication;
class SleepCycle;

/// Where logind is found, and what it tells the user of who delays a sleep.
struct LogindOptions {
    /// Where the system bus listens, as D-Bus writes it.
    std::string busAddress;
    std::string applicationName;
};

/// How long the machine waits for those who delay its sleep, as logind's property InhibitDelayMaxUSec says
/// it; more than any background task runs is cut. None for a value of another type.
[[nodiscard]] std::optional<std::chrono::milliseconds> longestDelayOf(const sdbus::Variant& property);

/// Takes an application through the machine's sleep as logind announces it (org.freedesktop.login1, its
/// signal PrepareForSleep and its delay inhibitors).
///
/// Without a logind on the bus one line is logged and the application stays active; without a system bus, as
/// in a container, there is nothing to say. A logind that starts again is asked for a new inhibitor; a bus
/// that goes ends the watch. The bus is opened at once, on a thread of its own. Thread: made and dropped on
/// the run loop's; the application is changed there only.
class LogindSleepWatch {
public:
    LogindSleepWatch(const std::shared_ptr<NSRunLoop>& runLoop, std::shared_ptr<LogSink> logSink,
                     std::shared_ptr<LinuxApplication> application, LogindOptions options);
    LogindSleepWatch(const LogindSleepWatch&) = delete;
    LogindSleepWatch& operator=(const LogindSleepWatch&) = delete;
    ~LogindSleepWatch();

private:
    class Manager;

    void askForInhibitor();

    Lifeline<LogindSleepWatch> life_{*this};
    std::shared_ptr<SleepCycle> cycle_;
    std::shared_ptr<Manager> manager_;
    /// The last member: its thread has ended before the rest goes.
    std::unique_ptr<DBusConnection> bus_;
};

}  // namespace xel
