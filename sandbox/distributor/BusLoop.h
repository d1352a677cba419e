#pragma once

#include <functional>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>

#include "XelPushClient/Foundation/Lifeline.h"

namespace sdbus {
class IConnection;
}

namespace xel::sandbox {

/// Dispatches what arrives on a D-Bus connection on an Asio loop, so that both have one thread.
class BusLoop {
public:
    /// `onEnd` is called once, on the loop, when the bus has gone; nothing is dispatched after that. The
    /// connection outlives this. Throws SandboxError when no file descriptor is left.
    BusLoop(boost::asio::io_context& loop, sdbus::IConnection& connection,
            std::function<void(const std::string& reason)> onEnd);
    ~BusLoop();
    BusLoop(const BusLoop&) = delete;
    BusLoop& operator=(const BusLoop&) = delete;

    /// To be called after every use of the connection: an answer may have been read on the way, and a call
    /// has a deadline. Dispatches nothing before it returns.
    void serveSoon();

private:
    void serve();
    void waitForMore();

    boost::asio::io_context& loop_;
    sdbus::IConnection& connection_;
    std::function<void(const std::string&)> onEnd_;
    boost::asio::posix::stream_descriptor descriptor_;
    boost::asio::steady_timer timer_;
    bool isWaitingToRead_{false};
    bool isWaitingToWrite_{false};
    bool hasEnded_{false};
    Lifeline<BusLoop> life_{*this};
};

}  // namespace xel::sandbox
