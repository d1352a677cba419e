#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/ip/tcp.hpp>

#include "XelPushClient/Linux/AsioLoopCore.h"

namespace xel {

/// The addresses of a host, or why there are none.
struct NameLookupAnswer {
    boost::system::error_code error;
    std::vector<boost::asio::ip::tcp::endpoint> endpoints;  ///< in the system's order
};

/// Looks the name up on a thread of the process, and calls `done` on the loop, never inside this call; not at
/// all once the loop is gone. The answer comes by way of the loop's own queue, which wakes a loop that a host
/// drives: Asio's own look-up would not.
void lookUpName(const std::weak_ptr<AsioLoopCore>& core, std::string host, std::uint16_t port,
                std::function<void(const NameLookupAnswer&)> done);

}  // namespace xel
