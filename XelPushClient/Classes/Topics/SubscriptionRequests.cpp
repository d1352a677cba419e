#include "XelPushClient/Classes/Topics/SubscriptionRequests.h"

#include <utility>

namespace xel {

void SubscriptionRequests::forgetThoseOfFormerSession() {
    const auto generation = session_.generation();
    if (std::exchange(generation_, generation) != generation) {
        subscribeMsgIds_.clear();
        unSubscribeMsgIds_.clear();
        batches_.forgetSession();
        givenUp_.clear();
    }
}

void SubscriptionRequests::addToGoingToTopics(std::string_view topic, int qos) {
    if (!goingToTopics_) {
        goingToTopics_ = std::make_shared<TopicTable>();
    }
    goingToTopics_->set(topic, qos);
}

void SubscriptionRequests::replaceGoingToTopics(TopicTable topics) {
    goingToTopics_ = std::make_shared<TopicTable>(std::move(topics));
}

SubscribeBatches::Batch SubscriptionRequests::takeAnsweredBatch(std::uint16_t packetId) {
    // The table is taken out before anything is reported, because a host may subscribe again in its callback.
    // What it adds belongs to the next batch.
    const auto newest = std::exchange(goingToTopics_, std::make_shared<TopicTable>());
    if (auto known = batches_.take(packetId)) {
        return std::move(*known);
    }
    SubscribeBatches::Batch batch{{}, batches_.takeTicket()};
    for (const auto& [topic, qos] : newest ? *newest : TopicTable()) {
        batch.filters.push_back(topic);
    }
    return batch;
}

void SubscriptionRequests::addToSubscriberMsgIds(std::uint16_t packetId, const std::string& topic) {
    // A batch that the session gave up is not answered, and its identifier may be this topic's now.
    static_cast<void>(batches_.take(packetId));
    subscribeMsgIds_[packetId] = topic;
}

void SubscriptionRequests::addToUnsubscriberMsgIds(std::uint16_t packetId, const std::string& topic) {
    unSubscribeMsgIds_[packetId] = topic;
}

void SubscriptionRequests::wasGivenUp(const std::string& topic) {
    if (goingToTopics_) {
        goingToTopics_->remove(topic);
    }
    batches_.wasGivenUp(topic);
    givenUp_.insert(topic);
}

}  // namespace xel
