#include <algorithm>
#include <utility>

#include "XelPushClient/Classes/Topics/SubscriptionErrors.h"
#include "XelPushClient/Classes/Topics/Subscriptions.h"

// What the broker answers, and what the session gives up.

namespace xel {

bool Subscriptions::eventWasAnswered(std::uint16_t packetId) {
    const auto pending = subscribeMsgIds_.find(packetId);
    if (pending == subscribeMsgIds_.end() ||
        isDeliveryTopic(pending->second, surroundings_.settings.appId())) {
        return false;
    }
    const auto topic = pending->second;
    subscribeMsgIds_.erase(pending);
    surroundings_.fanout.invokePushClientManagerDidSubscribed(getChannelFromTopic(topic));
    return true;
}

SubscribeBatches::Batch Subscriptions::takeAnsweredBatch(std::uint16_t packetId) {
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

void Subscriptions::subAckReceived(std::uint16_t packetId, std::span<const std::uint8_t> grantedQoss) {
    forgetRequestsOfFormerSession();
    if (!batches_.contains(packetId) && eventWasAnswered(packetId)) {
        return;
    }
    auto [filters, askedAt] = takeAnsweredBatch(packetId);
    filters.resize(std::min(filters.size(), grantedQoss.size()));
    auto granted = grantedTopics();
    std::vector<std::string> unreported;
    for (std::size_t i = 0; i < filters.size(); ++i) {
        const bool isGranted = grantedQoss[i] == kAtLeastOnce;
        if (isGranted && !batches_.isStoredSince(askedAt, filters[i])) {
            granted.push_back(filters[i]);
        }
        if (!batches_.isReportedSince(askedAt, filters[i])) {
            unreported.push_back(filters[i]);
        }
        batches_.wasAnswered(filters[i], askedAt, isGranted);
    }
    storeGrantedTopics(granted);
    const auto generation = surroundings_.session.generation();
    for (const auto& topic : unreported) {
        if (generation != surroundings_.session.generation()) {
            return;
        }
        reportGrantedTopic(topic);
    }
}

void Subscriptions::reportGrantedTopic(const std::string& topic) {
    if (isDeliveryTopic(topic, surroundings_.settings.appId())) {
        return;
    }
    const auto channel = getChannelFromTopic(topic);
    const bool isOwnTopic = channel == formatted("private/%@", surroundings_.settings.deviceId());
    if (!isOwnTopic && channel != "private/default") {
        surroundings_.fanout.invokePushClientManagerDidSubscribed(channel);
    }
}

void Subscriptions::unsubAckReceived(std::uint16_t packetId) {
    forgetRequestsOfFormerSession();
    const auto pending = unSubscribeMsgIds_.find(packetId);
    if (pending == unSubscribeMsgIds_.end()) {
        return;
    }
    if (const auto channel = getChannelFromTopic(pending->second)) {
        // The entry that goes is the one in the table of subscriptions; the other stays, as hosts of earlier
        // versions have it.
        surroundings_.fanout.invokePushClientManagerDidUnsubscribed(
            *channel, [this, packetId] { subscribeMsgIds_.erase(packetId); });
    }
}

void Subscriptions::subscriptionFailed(std::string_view topic, const NSError& error) {
    forgetRequestsOfFormerSession();
    const MQTTRefusedTopic refused{std::string(topic), error};
    giveUp({&refused, 1});
}

void Subscriptions::giveUp(std::span<const MQTTRefusedTopic> refused) {
    // The topics have left everything before the host hears of the first: it may subscribe again in its
    // callback.
    for (const auto& [topic, error] : refused) {
        surroundings_.channels.giveUpTopic(topic);
        removeTopicFromUserDefault(topic);
        if (goingToTopics_) {
            goingToTopics_->remove(topic);
        }
        batches_.wasGivenUp(topic);
        givenUp_.insert(topic);
    }
    const auto generation = surroundings_.session.generation();
    for (const auto& [topic, error] : refused) {
        if (generation != surroundings_.session.generation()) {
            return;
        }
        surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(makeSubscriptionError(topic, error));
    }
}

void Subscriptions::unsubscriptionFailed(std::string_view topic, const NSError& error) {
    surroundings_.fanout.invokePushClientManagerDidFailInUnsubscribe(makeUnsubscriptionError(topic, error));
}

}  // namespace xel
