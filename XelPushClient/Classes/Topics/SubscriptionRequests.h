#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Topics/SubscribeBatches.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// What was asked of the session and waits for its answer: `Subscriptions` asks, `SubscriptionAnswers` takes
/// the answers.
///
/// Owner: the manager. Thread: the manager's run loop. Sends, stores and reports nothing.
class SubscriptionRequests {
public:
    explicit SubscriptionRequests(const BrokerSession& session) : session_(session) {}

    /// Packet identifiers begin anew with each session: an answer must not meet a request of the one before.
    /// Called before any is added or taken.
    void forgetThoseOfFormerSession();
    /// The connection has ended, and with it every answer that has not come.
    void forgetUnanswered() { batches_.forgetUnanswered(); }
    /// Forgets the batch in flight.
    void forgetIdentity() { goingToTopics_ = nullptr; }

    /// The batch sent or about to be sent; null when there is none. Shared with the work that will send it:
    /// what is added meanwhile goes out with it.
    [[nodiscard]] const std::shared_ptr<TopicTable>& goingToTopics() const { return goingToTopics_; }
    void addToGoingToTopics(std::string_view topic, int qos);
    void replaceGoingToTopics(TopicTable topics);

    /// What is answered by this packet identifier: the batch that was written with it, else the newest. The
    /// next batch begins empty.
    [[nodiscard]] SubscribeBatches::Batch takeAnsweredBatch(std::uint16_t packetId);
    [[nodiscard]] SubscribeBatches& batches() { return batches_; }

    void addToSubscriberMsgIds(std::uint16_t packetId, const std::string& topic);
    void removeFromSubscriberMsgIds(std::uint16_t packetId) { subscribeMsgIds_.erase(packetId); }
    void addToUnsubscriberMsgIds(std::uint16_t packetId, const std::string& topic);
    [[nodiscard]] const std::map<std::uint16_t, std::string>& subscribeMsgIds() const {
        return subscribeMsgIds_;
    }
    [[nodiscard]] const std::map<std::uint16_t, std::string>& unSubscribeMsgIds() const {
        return unSubscribeMsgIds_;
    }

    /// The session gives a topic up: it is not asked for again by itself while that session lasts.
    void wasGivenUp(const std::string& topic);
    [[nodiscard]] const std::set<std::string, std::less<>>& givenUp() const { return givenUp_; }

private:
    const BrokerSession& session_;
    std::uint64_t generation_ = 0;
    std::shared_ptr<TopicTable> goingToTopics_;
    SubscribeBatches batches_;
    std::map<std::uint16_t, std::string> subscribeMsgIds_;
    std::map<std::uint16_t, std::string> unSubscribeMsgIds_;
    std::set<std::string, std::less<>> givenUp_;
};

}  // namespace xel
