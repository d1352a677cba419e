#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Push/UnifiedPushBus.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

class UnifiedPushInbox;

/// The session's bus by sdbus-c++: owns the host's name, and serves org.unifiedpush.Connector2 there.
///
/// A call is answered as soon as it has been handed to the run loop, and nothing waits for what comes of it.
/// Thread: as the port says; what it does on the bus is done on the connection's thread.
class DBusUnifiedPush final : public UnifiedPushBus {
public:
    /// Calls that the run loop has not come to yet; one beyond them is refused.
    static constexpr std::size_t kMostCallsUnderWay = 256;

    struct Host {
        std::string busName;
        /// What a distributor may show its user; may be empty.
        std::string description;
    };

    DBusUnifiedPush(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<LogSink> logSink,
                    std::shared_ptr<DBusConnection> connection, Host host);
    DBusUnifiedPush(const DBusUnifiedPush&) = delete;
    DBusUnifiedPush& operator=(const DBusUnifiedPush&) = delete;
    ~DBusUnifiedPush() override;

    void open(Calls calls) override;
    void findDistributors(Found found) override;
    void registerWith(const std::string& distributor, const std::string& token,
                      Registered registered) override;
    void unregisterFrom(const std::string& distributor, const std::string& token) override;

private:
    class Core;

    std::shared_ptr<LogSink> logSink_;
    std::shared_ptr<DBusConnection> connection_;
    std::shared_ptr<UnifiedPushInbox> inbox_;
    std::shared_ptr<Core> core_;
};

}  // namespace xel
