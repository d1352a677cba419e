#pragma once

#include <functional>

#include <boost/asio/io_context.hpp>

#include "sandbox/push/PushDesk.h"

namespace xel::sandbox {

/// Posts a push message (RFC 8030: TTL, Content-Encoding) with plain HTTP, and follows no redirect. The
/// answer comes once, on the loop's thread; without one within ten seconds it is a failure.
void postPushMessage(boost::asio::io_context& loop, const OutgoingPush& push,
                     std::function<void(const PushAnswer&)> onAnswer);

}  // namespace xel::sandbox
