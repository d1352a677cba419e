#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

// The packets that a client sends (MQTT 3.1.1 section 3). Each writer appends one whole packet. Texts were
// found valid before, and what would not fit is refused before anything is appended.

/// The keep-alive as a CONNECT can say it: the nearest of 0..65535 seconds.
[[nodiscard]] std::chrono::seconds effectiveKeepAlive(const MQTTSessionParameters& parameters);

/// Will and will flags are never used; a user name that is empty is left out, and the password with it.
void appendConnect(std::string& out, const MQTTSessionParameters& parameters);

/// The size of the whole PUBLISH. A packet identifier of 0 stands for QoS 0, which has none.
[[nodiscard]] std::size_t publishPacketSize(std::string_view topic, std::string_view data,
                                            std::uint16_t packetId);

void appendPublish(std::string& out, std::string_view topic, std::string_view data, std::uint16_t packetId,
                   bool retain);

void appendPuback(std::string& out, std::uint16_t packetId);

/// False, with nothing appended, when the topics are too many for one packet, or none.
[[nodiscard]] bool appendSubscribe(std::string& out, std::uint16_t packetId,
                                   std::span<const std::pair<std::string_view, int>> topics);
[[nodiscard]] bool appendUnsubscribe(std::string& out, std::uint16_t packetId,
                                     std::span<const std::string_view> topics);

void appendPingreq(std::string& out);
void appendDisconnect(std::string& out);

}  // namespace xel
