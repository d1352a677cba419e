#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/MQTTSDK/GrantedTopics.h"
#include "XelPushClient/MQTTSDK/PacketIds.h"
#include "XelPushClient/MQTTSDK/PendingRequests.h"

namespace xel {

/// The topics that the broker is to be told to forget, from the owner's call to the broker's answer, whatever
/// happens to connections between: an UNSUBSCRIBE that was lost is sent again, so that messages of a topic
/// that the host has left do not go on arriving. What must survive the process is in the memory of granted
/// topics.
///
/// Owner: the session's outgoing traffic. Thread: the session's run loop.
class TopicRemovals {
public:
    /// The granted topics outlive this.
    TopicRemovals(GrantedTopics& granted, std::shared_ptr<PacketIds> packetIds)
        : granted_(granted), packetIds_(std::move(packetIds)) {}

    /// The topics are to be removed: by an UNSUBSCRIBE that has its identifier, or else by one that the owner
    /// asks for again after the next connect.
    void wereAskedFor(const std::vector<std::string>& topics, bool haveRequest);
    void wasSubscribedAgain(std::string_view topic);
    void wereConfirmed(const std::vector<std::string>& topics);
    void giveUp(const std::string& topic);

    /// The connection has ended with these unanswered. They keep their identifiers.
    void connectionDidEnd(std::map<std::uint16_t, UnsubscribeRequest> unanswered) { lost_.merge(unanswered); }

    /// The broker kept no session, so there is nothing to remove. Returns the identifiers, now free, whose
    /// owner still waits for an answer.
    [[nodiscard]] std::vector<std::uint16_t> endAll();

    /// What is to be sent on a new connection: what was lost, under the identifiers that it kept, and the
    /// topics that an earlier process left.
    struct Due {
        std::map<std::uint16_t, UnsubscribeRequest> lost;
        std::set<std::string, std::less<>> others;
    };
    [[nodiscard]] Due takeDue();

private:
    void dropWhatIsNotWanted();

    GrantedTopics& granted_;
    std::shared_ptr<PacketIds> packetIds_;
    std::map<std::uint16_t, UnsubscribeRequest> lost_;
    std::set<std::string, std::less<>> askedForOffline_;
};

}  // namespace xel
