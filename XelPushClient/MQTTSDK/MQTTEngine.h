#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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
    /// Whether `next` would take a SUBACK, and nothing else, off the front of the input.
    [[nodiscard]] bool isSubscribeAnswerNext(std::string_view input) const;
    /// After `Subscribed`: the request, and one return code for each of its topics.
    [[nodiscard]] const SubscribeRequest& answeredSubscribe() const { return answered_; }
    [[nodiscard]] std::span<const std::uint8_t> answeredCodes() const { return answeredCodes_; }
    /// After `Unsubscribed`.
    [[nodiscard]] const UnsubscribeRequest& answeredUnsubscribe() const { return answeredUnsubscribe_; }

    // Packets out: each operation appends to `output`.

    /// CONNECT, when the transport is there.
    void start(const MQTTSessionParameters& parameters);
    [[nodiscard]] bool isConnected() const { return phase_ == Phase::Connected; }
    /// A request gets its packet identifier, 0 when none is free, and may be written then or later. Its
    /// topics are sendable, their qualities of service 0 or 1.
    std::uint16_t addSubscribe(SubscribeRequest request) {
        return requests_.addSubscribe(std::move(request));
    }
    std::uint16_t addUnsubscribe(UnsubscribeRequest request) {
        return requests_.addUnsubscribe(std::move(request));
    }
    /// One of an earlier connection goes on under the identifier that it has kept.
    void addUnsubscribe(std::uint16_t packetId, UnsubscribeRequest request) {
        requests_.addUnsubscribe(packetId, std::move(request));
    }
    /// False, and the request is gone, when its topics are too many for one packet. A batch takes the place
    /// of batches that have not been written out, when it has all of their topics and nothing else was
    /// appended since: they are gone, and their identifiers are added to `superseded`.
    [[nodiscard]] bool writeSubscribe(std::uint16_t packetId, std::vector<std::uint16_t>& superseded);
    [[nodiscard]] bool writeUnsubscribe(std::uint16_t packetId);
    [[nodiscard]] PendingRequests& requests() { return requests_; }
    [[nodiscard]] std::size_t countUnansweredRequests() const { return unansweredRequests_; }

    void publishAtMostOnce(std::string_view topic, std::string_view data, bool retain);
    /// Sends a packet from the outbox and returns its place, as below.
    std::uint64_t publishAtLeastOnce(std::string_view packet, bool isDuplicate);
    void acknowledge(std::span<const std::uint16_t> packetIds);
    void disconnect();

    /// Where the next packet stands in everything that the connection writes, in octets.
    [[nodiscard]] std::uint64_t place() const { return writtenBefore_ + output_.size(); }
    /// The last place of which the broker has answered something. It has taken what stands before it.
    [[nodiscard]] std::uint64_t answeredPlace() const { return answeredPlace_; }
    void noteAnswerTo(std::uint64_t place) { answeredPlace_ = std::max(answeredPlace_, place); }

    /// What is to be written. Whoever writes it calls `didWriteOutput`.
    [[nodiscard]] std::string& output() { return output_; }
    void didWriteOutput(TimePoint now);

    // Time.

    [[nodiscard]] std::optional<TimePoint> nextDeadline() const { return deadlines_.next(); }
    /// Looks at what is due and appends PINGREQ when that is.
    [[nodiscard]] ConnectionDeadlines::Due checkDeadlines(TimePoint now, bool readingIsHeldUp);
    [[nodiscard]] ConnectionDeadlines::Duration longestPing() const { return deadlines_.longestPing(); }
    /// CONNACK came: from now on the keep-alive counts.
    void didConnect(TimePoint now) { deadlines_.didConnect(now); }
    /// See `ConnectionDeadlines::setSilentSince`.
    [[nodiscard]] ConnectionDeadlines& deadlines() { return deadlines_; }

private:
    enum class Phase { BeforeConnect, AwaitingConnack, Connected };

    MQTTEngineEvent interpret(const MQTTInboundPacket& packet);
    MQTTEngineEvent takeConnack(const MQTTInboundPacket& packet);
    MQTTEngineEvent takeSuback(const MQTTInboundPacket& packet);
    [[nodiscard]] std::string_view faultOfSuback(const MQTTInboundPacket& packet) const;
    MQTTEngineEvent takeUnsuback(const MQTTInboundPacket& packet);
    MQTTEngineEvent takePingresp();
    MQTTEngineEvent violate(std::string_view fault);
    void noteAnswer(const std::optional<std::uint64_t>& place);
    void supersede(const SubscribeRequest& later, std::vector<std::uint16_t>& superseded);

    MQTTDecoder decoder_;
    PendingRequests requests_;
    ConnectionDeadlines deadlines_;
    bool cleanSession_;
    Phase phase_ = Phase::BeforeConnect;
    std::string_view fault_;
    std::string output_;
    SubscribeRequest answered_;
    std::vector<std::uint8_t> answeredCodes_;
    UnsubscribeRequest answeredUnsubscribe_;

    /// Batches at the end of `output_`, with nothing between or behind them.
    struct UnwrittenBatch {
        std::uint16_t packetId;
        std::size_t begin;
        std::size_t end;
    };
    std::vector<UnwrittenBatch> unwrittenBatches_;
    std::uint64_t writtenBefore_ = 0;
    std::uint64_t answeredPlace_ = 0;
    std::uint64_t pingPlace_ = 0;
    std::size_t unansweredRequests_ = 0;
};

}  // namespace xel
