#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/MQTTSDK/ConnectionDeadlines.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/MQTTSDK/PendingRequests.h"
#include "XelPushClient/Platform/MQTTSession.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// What the next packet from the broker meant.
enum class MQTTEngineEvent {
    NeedMore,                 ///< no whole packet is left
    Connected,                ///< CONNACK; see the packet's `sessionPresent`
    Refused,                  ///< CONNACK; see the packet's `returnCode`
    Publication,              ///< to be delivered, and at QoS 1 acknowledged then
    PublicationAcknowledged,  ///< PUBACK
    Subscribed,               ///< SUBACK; see `answeredSubscribe`
    Unsubscribed,             ///< UNSUBACK
    Violation,                ///< the connection must be closed; see `fault`
};

/// MQTT 3.1.1 on one connection, without I/O: octets and time go in, packets to write, events and deadlines
/// come out. Calls nobody. What lives longer than a connection (unacknowledged publications, granted topics)
/// is the session's.
class MQTTEngine {
public:
    using TimePoint = ConnectionDeadlines::TimePoint;

    MQTTEngine(const MQTTSessionParameters& parameters, const MQTTSessionOptions& options,
               std::shared_ptr<PacketIds> packetIds, TimePoint now);

    // Octets in.

    /// Takes packets off the front of the input until one means something, and tells what. After a violation
    /// nothing is taken any more and every call tells it again. The packet's views point into the input.
    [[nodiscard]] MQTTEngineEvent next(std::string_view& input, MQTTInboundPacket& packet);
    [[nodiscard]] std::string_view fault() const { return fault_; }
    /// After `Subscribed`: the request, and one return code for each of its topics.
    [[nodiscard]] const SubscribeRequest& answeredSubscribe() const { return answered_; }
    [[nodiscard]] std::span<const std::uint8_t> answeredCodes() const { return answeredCodes_; }

    // Packets out: each operation appends to `output`.

    /// CONNECT, when the transport is there.
    void start(const MQTTSessionParameters& parameters);
    [[nodiscard]] bool isConnected() const { return phase_ == Phase::Connected; }
    /// Answers the packet identifier, or 0 when nothing was appended: no topic can be sent, they are too many
    /// for one packet, or no identifier is free. Topics that cannot be sent are left out and told. Qualities
    /// of service are brought into 0..1.
    std::uint16_t subscribe(const TopicTable& topics, SubscribePurpose purpose,
                            std::vector<MQTTRefusedTopic>& refused);
    std::uint16_t unsubscribe(std::span<const std::string_view> filters,
                              std::vector<MQTTRefusedTopic>& refused);
    void publishAtMostOnce(std::string_view topic, std::string_view data, bool retain);
    void acknowledge(std::span<const std::uint16_t> packetIds);
    void disconnect();

    /// What is to be written. Whoever writes it calls `didWriteOutput`.
    [[nodiscard]] std::string& output() { return output_; }
    void didWriteOutput(TimePoint now);

    // Time.

    [[nodiscard]] std::optional<TimePoint> nextDeadline() const { return deadlines_.next(); }
    /// Looks at what is due and appends PINGREQ when that is.
    [[nodiscard]] ConnectionDeadlines::Due checkDeadlines(TimePoint now, bool readingIsHeldUp);
    /// CONNACK came: from now on the keep-alive counts.
    void didConnect(TimePoint now) { deadlines_.didConnect(now); }

private:
    enum class Phase { BeforeConnect, AwaitingConnack, Connected };

    MQTTEngineEvent interpret(const MQTTInboundPacket& packet);
    MQTTEngineEvent takeConnack(const MQTTInboundPacket& packet);
    MQTTEngineEvent takeSuback(const MQTTInboundPacket& packet);
    MQTTEngineEvent violate(std::string_view fault);

    MQTTDecoder decoder_;
    PendingRequests requests_;
    ConnectionDeadlines deadlines_;
    bool cleanSession_;
    Phase phase_ = Phase::BeforeConnect;
    std::string_view fault_;
    std::string output_;
    SubscribeRequest answered_;
    std::vector<std::uint8_t> answeredCodes_;
};

}  // namespace xel
