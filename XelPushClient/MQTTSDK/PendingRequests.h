#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/PacketIds.h"

namespace xel {

/// Who asked for a SUBSCRIBE.
enum class SubscribePurpose {
    Batch,        ///< the session's owner, with a table: may be superseded by a later one
    Single,       ///< the session's owner, with one topic
    Restoration,  ///< the session itself, after the broker had lost its topics
};

/// A SUBSCRIBE that waits for its SUBACK, or to be written.
struct SubscribeRequest {
    struct Topic {
        std::string filter;
        int qos = 0;
        /// Set when it was unsubscribed before the answer came: the grant is then out of date.
        bool wasUnsubscribed = false;
    };

    SubscribePurpose purpose = SubscribePurpose::Single;
    std::vector<Topic> topics;
    /// Where it stands in what the connection writes; none while it has not been written.
    std::optional<std::uint64_t> place = std::nullopt;
};

/// An UNSUBSCRIBE that waits for its UNSUBACK, or to be written.
struct UnsubscribeRequest {
    std::vector<std::string> filters;
    /// Whether the session's owner waits for the answer under this identifier: not to the parts of one that
    /// leaves topic by topic, nor to what an earlier process left.
    bool isAwaitedByOwner = true;
    std::optional<std::uint64_t> place = std::nullopt;
};

/// One connection's SUBSCRIBEs and UNSUBSCRIBEs that the broker has not answered, by packet identifier.
/// The identifiers of what is still unanswered become free with this object.
class PendingRequests {
public:
    explicit PendingRequests(std::shared_ptr<PacketIds> packetIds) : packetIds_(std::move(packetIds)) {}
    ~PendingRequests();
    PendingRequests(const PendingRequests&) = delete;
    PendingRequests& operator=(const PendingRequests&) = delete;

    /// Adds a request and returns its new identifier, or 0 when all are in use.
    [[nodiscard]] std::uint16_t addSubscribe(SubscribeRequest request);
    [[nodiscard]] std::uint16_t addUnsubscribe(UnsubscribeRequest request);
    /// Adds a request under an identifier that is in use for it already.
    void addUnsubscribe(std::uint16_t packetId, UnsubscribeRequest request);

    /// Marks the topics in every SUBSCRIBE that is still unanswered.
    void noteUnsubscribed(std::span<const std::string_view> filters);

    /// The request, while it is unanswered.
    [[nodiscard]] SubscribeRequest* findSubscribe(std::uint16_t packetId);
    [[nodiscard]] const SubscribeRequest* findSubscribe(std::uint16_t packetId) const;
    [[nodiscard]] UnsubscribeRequest* findUnsubscribe(std::uint16_t packetId);

    /// Takes a request out; none when there is none of that identifier.
    [[nodiscard]] std::optional<SubscribeRequest> takeSubscribe(std::uint16_t packetId);
    [[nodiscard]] std::optional<UnsubscribeRequest> takeUnsubscribe(std::uint16_t packetId);

    /// Takes all UNSUBSCRIBEs out, whose identifiers stay in use.
    [[nodiscard]] std::map<std::uint16_t, UnsubscribeRequest> takeUnsubscribes();

    /// One that was written, if any was; a SUBSCRIBE before an UNSUBSCRIBE.
    [[nodiscard]] std::optional<std::uint16_t> firstWritten() const;
    /// Whether a SUBSCRIBE for that purpose is among them.
    [[nodiscard]] bool isAnyFor(SubscribePurpose purpose) const;

private:
    std::shared_ptr<PacketIds> packetIds_;
    std::map<std::uint16_t, SubscribeRequest> subscribes_;
    std::map<std::uint16_t, UnsubscribeRequest> unsubscribes_;
};

}  // namespace xel
