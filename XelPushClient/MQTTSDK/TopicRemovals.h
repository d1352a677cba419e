#pragma once

#include <cstdint>
#include <deque>
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
#include "XelPushClient/MQTTSDK/SentThing.h"

namespace xel {

class SendQueue;

/// The topics that the broker is to be told to forget, from the owner's call to the broker's answer, whatever
/// happens to connections between: an UNSUBSCRIBE that was lost is sent again, so that messages of a topic
/// that the host has left do not go on arriving. What must survive the process is in the memory of granted
/// topics.
///
/// An UNSUBSCRIBE of several topics leaves topic by topic while one of them must stand alone. It is itself
/// never written then: its identifier is answered when all of its topics are.
/// Owner: the session's outgoing traffic. Thread: the session's run loop.
class TopicRemovals {
public:
    /// The granted topics outlive this.
    TopicRemovals(GrantedTopics& granted, std::shared_ptr<PacketIds> packetIds)
        : granted_(granted), packetIds_(std::move(packetIds)) {}

    /// Sends a request and returns its identifier, 0 when none is free.
    std::uint16_t send(UnsubscribeRequest request, SendQueue& queue);
    /// The topics are to be removed: by an UNSUBSCRIBE that has its identifier, or else by one that the owner
    /// asks for again after the next connect.
    void wereAskedFor(const std::vector<std::string>& topics, bool haveRequest);
    /// The owner that would ask again is gone.
    void ownerDidLetGo() { askedForOffline_.clear(); }
    void wasSubscribedAgain(std::string_view topic);
    /// `storeConfirmed` makes it durable, once for several: until then they would be removed once more.
    void wereConfirmed(const std::vector<std::string>& topics);
    void storeConfirmed();
    void giveUp(const std::string& topic);
    /// Takes those out that left topic by topic and are answered, and adds them to what the owner is not told
    /// yet.
    void settleWhatWasSplit(PendingRequests& requests, std::deque<UntoldOutcome>& untold);

    /// The connection ends with these unanswered. Those that the owner waits for keep their identifiers; what
    /// the others ask for comes with `sendDue` again.
    void keepUnanswered(std::map<std::uint16_t, UnsubscribeRequest> unanswered);
    void connectionDidEnd() { split_.clear(); }

    /// The broker kept no session, so there is nothing to remove. Adds what the owner waits for to what it is
    /// not told yet.
    void endAll(std::deque<UntoldOutcome>& untold);
    /// Sends on a new connection what was lost, under the identifiers that it kept, and the topics for which
    /// nobody waits, such as those that an earlier process left.
    void sendDue(SendQueue& queue);

private:
    using Topics = std::set<std::string, std::less<>>;

    void sendOrSplit(std::uint16_t packetId, SendQueue& queue);
    void sendForNobody(const std::vector<std::string>& topics, SendQueue& queue);
    [[nodiscard]] Topics dueForNobody() const;
    [[nodiscard]] bool isOutstanding(UnsubscribeRequest& request) const;
    void dropWhatIsNotWanted();

    GrantedTopics& granted_;
    std::shared_ptr<PacketIds> packetIds_;
    std::map<std::uint16_t, UnsubscribeRequest> lost_;
    Topics askedForOffline_;
    std::vector<std::uint16_t> split_;  // of one connection
    bool isConfirmedStored_ = true;
};

}  // namespace xel
