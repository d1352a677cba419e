#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel {

/// Whom and what a `FakeBroker` takes; everybody and everything at first. Its setters say what each rule
/// means.
struct FakeBrokerRules {
    std::uint8_t connectReturnCode = 0;
    std::optional<std::pair<std::string, std::string>> credentials;
    std::map<std::string, std::uint8_t, std::less<>> grantedCodes;
    std::set<std::string, std::less<>> endingOn;
    bool isEndingOnEveryPublication = false;

    /// CONNACK's return code.
    [[nodiscard]] std::uint8_t codeFor(const FakeBrokerConnect& connect) const {
        const auto identity = std::pair(connect.userName.value_or(""), connect.password.value_or(""));
        const bool isStranger = credentials && *credentials != identity;
        return connectReturnCode == 0 && isStranger ? std::uint8_t{4} : connectReturnCode;
    }

    /// SUBACK's return code for a topic.
    [[nodiscard]] std::uint8_t codeFor(std::string_view filter, int qos) const {
        const auto scripted = grantedCodes.find(filter);
        return scripted == grantedCodes.end() ? static_cast<std::uint8_t>(std::min(qos, 1))
                                              : scripted->second;
    }

    [[nodiscard]] bool endConnectionOn(const FakeBrokerPacket& packet) const {
        if (packet.type == FakeBrokerPacketType::Publish) {
            return isEndingOnEveryPublication || endingOn.contains(packet.topic);
        }
        return std::any_of(packet.topics.begin(), packet.topics.end(),
                           [this](const auto& topic) { return endingOn.contains(topic.first); }) ||
               std::any_of(packet.topicNames.begin(), packet.topicNames.end(),
                           [this](const auto& filter) { return endingOn.contains(filter); });
    }
};

}  // namespace xel
