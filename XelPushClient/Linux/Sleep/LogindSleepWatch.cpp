#include "XelPushClient/Linux/Sleep/LogindSleepWatch.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Sleep/SleepCycle.h"

namespace xel {
namespace {

constexpr const char* kLogind = "org.freedesktop.login1";
constexpr const char* kLogindPath = "/org/freedesktop/login1";
constexpr const char* kLogindManager = "org.freedesktop.login1.Manager";
constexpr const char* kWhy = "Saying goodbye to the push service";

/// Does something to the cycle on its loop, if both are still there then: a bus that is being opened may
/// outlive them.
class CycleOnLoop {
public:
    CycleOnLoop(const std::shared_ptr<NSRunLoop>& runLoop, const std::shared_ptr<SleepCycle>& cycle)
        : runLoop_(runLoop), cycle_(cycle) {}

    void post(std::function<void(SleepCycle&)> work) const {
        if (const auto runLoop = runLoop_.lock()) {
            runLoop->post([weak = cycle_, work = std::move(work)] {
                if (const auto cycle = weak.lock()) {
                    work(*cycle);
                }
            });
        }
    }

private:
    std::weak_ptr<NSRunLoop> runLoop_;
    std::weak_ptr<SleepCycle> cycle_;
};

}  // namespace

std::optional<std::chrono::milliseconds> longestDelayOf(const sdbus::Variant& property) {
    if (!property.containsValueOfType<std::uint64_t>()) {
        return std::nullopt;
    }
    // Longer than any background task runs is as good as that.
    constexpr auto kMost =
        static_cast<std::uint64_t>(std::chrono::microseconds(2 * LinuxApplication::kBackgroundTime).count());
    const std::chrono::microseconds delay(std::min(property.get<std::uint64_t>(), kMost));
    return std::chrono::duration_cast<std::chrono::milliseconds>(delay);
}

/// logind's manager object. Thread: that of the bus, but for the constructor.
class LogindSleepWatch::Manager : public std::enable_shared_from_this<Manager> {
public:
    Manager(CycleOnLoop cycle, std::shared_ptr<LogSink> logSink, std::string applicationName)
        : cycle_(std::move(cycle)),
          logSink_(std::move(logSink)),
          applicationName_(std::move(applicationName)) {}

    void watch(DBusConnection& owner, sdbus::IConnection& bus) {
        owner.atClosing([self = shared_from_this()] { self->lose(); });
        proxy_ = sdbus::createProxy(bus, kLogind, kLogindPath);
        proxy_->uponSignal("PrepareForSleep").onInterface(kLogindManager).call([this](bool isBefore) {
            cycle_.post([isBefore](SleepCycle& cycle) { isBefore ? cycle.sleepIsNear() : cycle.isAwake(); });
        });
        proxy_->finishRegistration();
        nameWatch_ = bus.addMatch(dbusOwnerChangesOf(kLogind), [this](sdbus::Message& message) {
            std::string name;
            std::string before;
            std::string now;
            message >> name >> before >> now;
            serviceChangedHands(!before.empty(), !now.empty());
        });
        begin();
    }

    void takeInhibitor() {
        if (!proxy_) {
            return;  // the bus has gone meanwhile
        }
        proxy_->callMethodAsync("Inhibit")
            .onInterface(kLogindManager)
            .withArguments(std::string("sleep"), applicationName_, std::string(kWhy), std::string("delay"))
            .uponReplyInvoke([this](const sdbus::Error* error, const sdbus::UnixFd& inhibitor) {
                if (error != nullptr) {
                    report(error->getName() + ": " + error->getMessage());
                    return;
                }
                hasReported_ = false;
                // A copy duplicates the descriptor; the answer's own is closed with it.
                sdbus::UnixFd own = inhibitor;
                const auto held = std::make_shared<FileDescriptor>(own.release());
                cycle_.post([held](SleepCycle& cycle) { cycle.inhibitorWasTaken(std::move(*held)); });
            });
    }

    /// Once, until logind answers again.
    void report(const std::string& reason) {
        if (!std::exchange(hasReported_, true)) {
            cycle_.post([sink = logSink_, reason](SleepCycle&) {
                sink->write("The machine's sleep is not followed: " + reason);
            });
        }
    }

private:
    void begin() {
        proxy_->callMethodAsync("Get")
            .onInterface(kDBusProperties)
            .withArguments(std::string(kLogindManager), std::string("InhibitDelayMaxUSec"))
            .uponReplyInvoke([this](const sdbus::Error* error, const sdbus::Variant& value) {
                if (const auto delay = error == nullptr ? longestDelayOf(value) : std::nullopt) {
                    cycle_.post([delay](SleepCycle& cycle) { cycle.setLongestDelay(*delay); });
                }
            });
        takeInhibitor();
    }

    void serviceChangedHands(bool wasThere, bool isThere) {
        // The inhibitor was held with the former service: the next one knows nothing of it.
        if (wasThere) {
            cycle_.post([](SleepCycle& cycle) { cycle.watchIsLost(); });
        }
        if (isThere) {
            begin();
        }
    }

    void lose() {
        nameWatch_.reset();
        proxy_.reset();
        cycle_.post([](SleepCycle& cycle) { cycle.watchIsLost(); });
    }

    const CycleOnLoop cycle_;
    const std::shared_ptr<LogSink> logSink_;
    const std::string applicationName_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    sdbus::Slot nameWatch_;
    bool hasReported_ = false;
};

LogindSleepWatch::LogindSleepWatch(const std::shared_ptr<NSRunLoop>& runLoop,
                                   std::shared_ptr<LogSink> logSink,
                                   std::shared_ptr<LinuxApplication> application, LogindOptions options)
    : bus_(std::make_unique<DBusConnection>(options.busAddress, "xel-logind")) {
    // Waking up is told to hosts, and one of them may have ended this object.
    cycle_ =
        std::make_shared<SleepCycle>(runLoop, std::move(application),
                                     life_.guarded([](LogindSleepWatch& self) { self.askForInhibitor(); }));
    manager_ = std::make_shared<Manager>(CycleOnLoop(runLoop, cycle_), std::move(logSink),
                                         std::move(options.applicationName));
    // The connection outlives its work, so the bare pointer does not outlive it.
    // A machine without a system bus is no fault that anybody could mend: nothing is said.
    bus_->perform(
        [manager = manager_, owner = bus_.get()](sdbus::IConnection& bus) { manager->watch(*owner, bus); });
}

LogindSleepWatch::~LogindSleepWatch() = default;

void LogindSleepWatch::askForInhibitor() {
    bus_->perform([manager = manager_](sdbus::IConnection&) { manager->takeInhibitor(); });
}

}  // namespace xel
