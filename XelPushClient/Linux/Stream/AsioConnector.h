#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Network/NameLookup.h"
#include "XelPushClient/Linux/Stream/AsioSocket.h"
#include "XelPushClient/Linux/Stream/StreamErrors.h"

namespace xel {

/// Finds a host and connects to it: looks the name up, unless it is an address, and tries the addresses in
/// turn, the two address families alternating (as RFC 8305 section 4 orders them), each for a limited time.
/// Thread: the loop's. Its owner keeps it alive until it answers or is cancelled.
class AsioConnector final : public std::enable_shared_from_this<AsioConnector> {
public:
    using Socket = AsioSocket;
    /// The connected socket, or an error of the domain "ByteStream".
    using Done = std::function<void(Result<std::shared_ptr<Socket>>)>;

    AsioConnector(std::weak_ptr<AsioLoopCore> core, boost::asio::io_context& context,
                  std::chrono::milliseconds timeForAddress);

    /// Calls `done` once, in a pass of the loop and never inside this call, unless it is cancelled.
    void start(StreamPeer peer, Done done);

    void cancel();

    /// What is being waited for, in words for an error's text.
    [[nodiscard]] std::string describeProgress() const;

private:
    using Endpoint = boost::asio::ip::tcp::endpoint;

    void nameWasLookedUp(const NameLookupAnswer& answer);
    void tryNextEndpoint();
    void tellLater(std::size_t attempt, const boost::system::error_code& error);
    void attemptEnded(std::size_t attempt, const boost::system::error_code& error);
    void finish(Result<std::shared_ptr<Socket>> outcome);
    void inPass(const std::function<void()>& work);

    std::weak_ptr<AsioLoopCore> core_;
    boost::asio::io_context& context_;
    std::chrono::milliseconds timeForAddress_;
    StreamPeer peer_;
    Done done_;
    std::vector<Endpoint> endpoints_;
    std::size_t attempts_ = 0;
    std::shared_ptr<Socket> socket_;
    std::shared_ptr<NSTimer> deadline_;
    std::string causes_;
};

}  // namespace xel
