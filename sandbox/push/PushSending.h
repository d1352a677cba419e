#pragma once

#include <functional>
#include <string>

#include <boost/asio/io_context.hpp>

#include "sandbox/push/PushDesk.h"
#include "sandbox/relay/Topics.h"

namespace xel::sandbox {

/// Posts a push message (RFC 8030: TTL, Content-Encoding) with plain HTTP, and follows no redirect. The
/// answer comes once, on the loop's thread; without one within ten seconds it is a failure.
void postPushMessage(boost::asio::io_context& loop, const OutgoingPush& push,
                     std::function<void(const PushAnswer&)> onAnswer);

/// The desk that sends push messages, on the service's loop and with real requests.
class PushSending {
public:
    /// Everything given outlives it; the loop is not run any more when it is destroyed.
    PushSending(boost::asio::io_context& loop, InstallationStore& installations, ProgressLog& log);

    /// A message waits for a device without a connection. From any thread.
    void messageWaits(WaitingDevice device, std::string message);

private:
    boost::asio::io_context& loop_;
    PushDesk desk_;
};

}  // namespace xel::sandbox
