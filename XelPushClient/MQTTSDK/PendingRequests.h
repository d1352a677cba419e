#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/PacketIds.h"

namespace xel {

/// Who asked for a SUBSCRIBE.
enum class SubscribePurpose {
    Owner,        ///< the session's owner, who hears the answer
    Restoration,  ///< the session itself, after the broker had lost its topics
};

/// A SUBSCRIBE that waits for its SUBACK.
struct SubscribeRequest {
    struct Topic {
        std::string filter;
        int qos = 0;
        /// Set when it was unsubscribed before the answer came: the grant is then out of date.
        bool wasUnsubscribed = false;
    };

    SubscribePurpose purpose = SubscribePurpose::Owner;
    std::vector<Topic> topics;
};

/// One connection's SUBSCRIBEs and UNSUBSCRIBEs that the broker has not answered, by packet identifier.
/// The identifiers of what is still unanswered become free with this object.
class PendingRequests {
public:
    explicit PendingRequests(std::shared_ptr<PacketIds> packetIds) : packetIds_(std::move(packetIds)) {}
    ~PendingRequests();
    PendingRequests(const PendingRequests&) = delete;
    PendingRequests& operator=(const PendingRequests&) = delete;

    /// Adds a request and answers its new identifier, or 0 when all are in use.
    [[nodiscard]] std::uint16_t addSubscribe(SubscribeRequest request);
    [[nodiscard]] std::uint16_t addUnsubscribe();

    /// Marks the topic in every SUBSCRIBE that is still unanswered.
    void noteUnsubscribed(std::string_view filter);

    /// The request, while it is unanswered.
    [[nodiscard]] const SubscribeRequest* findSubscribe(std::uint16_t packetId) const;

    /// Takes a request out; none when there is none of that identifier.
    [[nodiscard]] std::optional<SubscribeRequest> takeSubscribe(std::uint16_t packetId);
    bool takeUnsubscribe(std::uint16_t packetId);

private:
    std::shared_ptr<PacketIds> packetIds_;
    std::map<std::uint16_t, SubscribeRequest> subscribes_;
    std::set<std::uint16_t> unsubscribes_;
};

}  // namespace xel
