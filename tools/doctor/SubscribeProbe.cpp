#include "tools/doctor/SubscribeProbe.h"

#include <chrono>
#include <cstdint>
#include <string_view>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kAnswerTime = 5s;
constexpr auto kMoment = 1s;
constexpr std::uint16_t kPacketId = 1;
constexpr int kQoS = 1;

std::string subscribePacket(std::span<const std::string> topics) {
    std::vector<std::pair<std::string_view, int>> wanted;
    for (const std::string& topic : topics) {
        wanted.emplace_back(topic, kQoS);
    }
    std::string packet;
    return appendSubscribe(packet, kPacketId, wanted) ? packet : std::string();
}

/// The next packet that is no message.
ProbePacket readAnswer(ProbeConnection& connection, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    ProbePacket packet;
    do {
        const auto left = deadline - std::chrono::steady_clock::now();
        packet = connection.read(std::chrono::ceil<std::chrono::milliseconds>(left));
    } while (packet.reading == ProbeReading::Packet && packet.type == MQTTPacketType::Publish);
    return packet;
}

}  // namespace

SubscribeOutcome watchSubscribe(ProbeConnection& connection, std::span<const std::string> topics) {
    SubscribeOutcome outcome;
    const std::string packet = subscribePacket(topics);
    if (packet.empty()) {
        return outcome;
    }
    const ProbePacket answer =
        connection.write(packet) ? readAnswer(connection, kAnswerTime) : ProbePacket{ProbeReading::End};
    outcome.isEnded = answer.reading == ProbeReading::End;
    outcome.isAnswered = answer.reading == ProbeReading::Packet && answer.type == MQTTPacketType::Suback &&
                         answer.returnCodes.size() == topics.size();
    if (!outcome.isAnswered) {
        return outcome;
    }
    for (std::size_t i = 0; i < topics.size(); ++i) {
        if (answer.returnCodes[i] == kMQTTSubscribeFailure) {
            outcome.refused.push_back(topics[i]);
        }
    }
    outcome.isEnded = readAnswer(connection, kMoment).reading == ProbeReading::End;
    return outcome;
}

std::optional<std::string> findEndingTopic(std::span<const std::string> topics,
                                           const std::function<bool(std::span<const std::string>)>& ends) {
    while (topics.size() > 1) {
        const auto half = topics.first(topics.size() / 2);
        topics = ends(half) ? half : topics.subspan(half.size());
    }
    if (topics.empty() || !ends(topics)) {
        return std::nullopt;
    }
    return topics.front();
}

}  // namespace xel::tools
