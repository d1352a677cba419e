#include "bench/standin/Sink.h"

#include <algorithm>
#include <stdexcept>

#include "bench/common/MqttPackets.h"

namespace xel::bench {

void Sink::take(std::uint8_t flags, std::string_view body, std::string& out) {
    const std::size_t topicBytes = readUint16(body, 0);
    if (body.size() < 2 + topicBytes || topicBytes == 0) {
        throw std::runtime_error("a PUBLISH without its topic");
    }
    ++received_;
    const unsigned qos = flags >> 1 & 3U;
    if (qos == 0) {
        return;
    }
    const std::uint16_t packetId = readUint16(body, 2 + topicBytes);
    if (qos != 1 || packetId == 0 || inFlight_.test(packetId)) {
        throw std::runtime_error("a PUBLISH of QoS " + std::to_string(qos) + " with packet id " +
                                 std::to_string(packetId) + ", which is taken or not allowed");
    }
    inFlight_.set(packetId);
    waiting_.push_back(packetId);
    if (waiting_.size() > withhold_) {
        inFlight_.reset(waiting_.front());
        appendAcknowledgement(out, PacketType::Puback, waiting_.front());
        waiting_.pop_front();
    }
    most_ = std::max<std::uint64_t>(most_, waiting_.size());
}

}  // namespace xel::bench
