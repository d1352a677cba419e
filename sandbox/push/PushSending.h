#pragma once

#include <string>

#include <boost/asio/io_context.hpp>

#include "sandbox/push/PushDesk.h"
#include "sandbox/relay/Topics.h"

namespace xel::sandbox {

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
