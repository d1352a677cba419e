#include "XelPushClient/Classes/Topics/Subscriptions.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Topics/EventRequestRules.h"
#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

int qosFor(bool live) {
    return live ? kAtMostOnce : kAtLeastOnce;
}

}  // namespace

Subscriptions::Subscriptions(Surroundings surroundings)
    : surroundings_(surroundings), life_(std::make_shared<Subscriptions*>(this)) {}

template <class Work>
void Subscriptions::deferUntilConnected(Work work) {
    surroundings_.deferred.enqueueWhenSessionIsConnected(
        [life = std::weak_ptr(life_), work = std::move(work)] {
            if (const auto self = life.lock()) {
                work(**self);
            }
        });
}

void Subscriptions::subscribe(const std::vector<std::string>& channels, SubscribeOptions options) {
    const int qos = qosFor(options.live);
    for (const auto& channel : channels) {
        const auto topic = generateTopicWithChannel(surroundings_.channels.identity(), channel);
        if (!topic) {
            surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(topic.error());
            return;
        }
        surroundings_.channels.setTopic(topic.value(), qos);
        if (!goingToTopics_) {
            goingToTopics_ = std::make_shared<TopicTable>();
        }
        goingToTopics_->set(topic.value(), qos);
    }
    surroundings_.channels.storeUserChannels();
    subscribeWithTopicDictionary(goingToTopics_, InstallationUpdate::Wanted);
}

void Subscriptions::subscribeWithTopicDictionary(std::shared_ptr<TopicTable> topics,
                                                 InstallationUpdate update) {
    if (update == InstallationUpdate::Wanted) {
        surroundings_.observer.installationUpdateWanted();
    }
    const auto session = surroundings_.connection.brokerSession();
    if (!surroundings_.connection.isConnected() || !session) {
        deferUntilConnected([topics = std::move(topics)](Subscriptions& self) {
            self.subscribeWithTopicDictionary(topics, InstallationUpdate::Wanted);
        });
        return;
    }
    if (topics && !topics->empty()) {
        static_cast<void>(session->subscribeToTopics(*topics));
        TVRLog(surroundings_.log, "brokerSession subscribe!");
    }
}

void Subscriptions::subscribeEvent(const std::string& eventName, const EventSubscribeOptions& options) {
    const auto identity = surroundings_.channels.identity();
    if (const auto refusal = eventSubscribeRefusal(identity, eventName, options.installationId)) {
        surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(
            generateInvalidParameterErrorWithMessage(*refusal));
        return;
    }
    const auto topic = options.installationId ? eventTopic(identity, eventName, *options.installationId)
                                              : eventTopic(identity, eventName);
    subscribeEventWithTopic(topic, qosFor(options.live));
}

void Subscriptions::subscribeEventWithTopic(const std::string& topic, int qos) {
    const auto session = surroundings_.connection.brokerSession();
    if (!surroundings_.connection.isConnected() || !session) {
        deferUntilConnected([topic, qos](Subscriptions& self) { self.subscribeEventWithTopic(topic, qos); });
        return;
    }
    forgetRequestsOfFormerSession();
    for (const auto& batch : session->subscribeToTopic(topic, qos).batches) {
        subscribeMsgIds_[batch.packetId] = topic;
    }
}

void Subscriptions::unsubscribe(const std::string& channel) {
    const auto topic = generateTopicWithChannel(surroundings_.channels.identity(), channel);
    if (!topic) {
        surroundings_.fanout.invokePushClientManagerDidFailInUnsubscribe(topic.error());
        return;
    }
    unsubscribeToTopic(topic.value());
}

void Subscriptions::unsubscribeEvent(const std::string& eventName,
                                     const std::optional<std::string>& installationId) {
    const auto identity = surroundings_.channels.identity();
    if (const auto refusal = eventUnsubscribeRefusal(identity, eventName, installationId)) {
        surroundings_.fanout.invokePushClientManagerDidFailInUnsubscribe(
            generateInvalidParameterErrorWithMessage(*refusal));
        return;
    }
    unsubscribeToTopic(installationId ? eventTopic(identity, eventName, *installationId)
                                      : eventTopic(identity, eventName));
}

void Subscriptions::unsubscribeToTopic(const std::string& topic) {
    surroundings_.channels.removeTopic(topic);
    removeTopicFromUserDefault(topic);
    surroundings_.channels.storeUserChannels();
    surroundings_.observer.installationUpdateWanted();
    const auto session = surroundings_.connection.brokerSession();
    if (!surroundings_.connection.isConnected() || !session) {
        deferUntilConnected([topic](Subscriptions& self) { self.unsubscribeToTopic(topic); });
        return;
    }
    forgetRequestsOfFormerSession();
    unSubscribeMsgIds_[session->unsubscribeTopic(topic).packetId] = topic;
}

TopicTable Subscriptions::topicsOfThisClient() const {
    TopicTable topics = surroundings_.channels.topics.value_or(TopicTable());
    const auto identity = surroundings_.channels.identity();
    if (const auto ownTopic = brokerTopicForDevice(identity)) {
        topics.set(*ownTopic, kAtLeastOnce);
    }
    const auto deliveries = deliveryTopic(identity);
    if (deliveries && surroundings_.settings.deliveryChannelEnabeled()) {
        topics.set(*deliveries, kAtLeastOnce);
    }
    return topics;
}

void Subscriptions::subscribeAfterConnect() {
    surroundings_.channels.loadUserChannels();
    goingToTopics_ = std::make_shared<TopicTable>(topicsOfThisClient());
    for (const auto& topic : grantedTopics()) {
        goingToTopics_->remove(topic);
    }
    if (!goingToTopics_->empty()) {
        subscribeWithTopicDictionary(goingToTopics_, InstallationUpdate::NotWanted);
    }
}

void Subscriptions::unsubscribeFromEverything() {
    surroundings_.channels.loadUserChannels();
    std::vector<std::string> topics;
    for (const auto& [topic, qos] : topicsOfThisClient()) {
        topics.push_back(topic);
    }
    if (const auto session = surroundings_.connection.brokerSession(); session && !topics.empty()) {
        static_cast<void>(session->unsubscribeTopics(topics));
    }
}

void Subscriptions::forgetRequestsOfFormerSession() {
    const auto generation = surroundings_.connection.sessionGeneration();
    if (std::exchange(requestsGeneration_, generation) != generation) {
        subscribeMsgIds_.clear();
        unSubscribeMsgIds_.clear();
    }
}

void Subscriptions::subAckReceived(std::uint16_t packetId, std::span<const std::uint8_t> grantedQoss) {
    forgetRequestsOfFormerSession();
    const auto pending = subscribeMsgIds_.find(packetId);
    if (pending != subscribeMsgIds_.end() &&
        !isDeliveryTopic(pending->second, surroundings_.settings.appId)) {
        const auto topic = pending->second;
        subscribeMsgIds_.erase(pending);
        surroundings_.fanout.invokePushClientManagerDidSubscribed(getChannelFromTopic(topic));
        return;
    }
    // The batch is taken out before anything is reported, because a host may subscribe again in its callback.
    // What it adds belongs to the next batch.
    const auto batch = goingToTopics_;
    goingToTopics_ = std::make_shared<TopicTable>();
    const std::size_t answered = batch ? std::min(batch->size(), grantedQoss.size()) : 0;
    auto granted = grantedTopics();
    for (std::size_t i = 0; i < answered; ++i) {
        if (grantedQoss[i] == kAtLeastOnce) {
            granted.push_back((*batch)[i].first);
        }
    }
    storeGrantedTopics(granted);
    const auto generation = surroundings_.connection.sessionGeneration();
    for (std::size_t i = 0; i < answered && generation == surroundings_.connection.sessionGeneration(); ++i) {
        reportGrantedTopic((*batch)[i].first);
    }
}

void Subscriptions::reportGrantedTopic(const std::string& topic) {
    if (isDeliveryTopic(topic, surroundings_.settings.appId)) {
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

void Subscriptions::removeTopicFromUserDefault(std::string_view topic) {
    auto granted = grantedTopics();
    std::erase(granted, topic);
    storeGrantedTopics(granted);
}

std::vector<std::string> Subscriptions::grantedTopics() const {
    std::vector<std::string> topics;
    for (const auto& topic : surroundings_.defaults.arrayForKey(kSubscribedTopicsKey).value_or(Array())) {
        if (const auto* text = topic.asString()) {
            topics.push_back(*text);
        }
    }
    return topics;
}

void Subscriptions::storeGrantedTopics(const std::vector<std::string>& topics) {
    surroundings_.defaults.setObject(kSubscribedTopicsKey, Array(topics.begin(), topics.end()));
    (void)surroundings_.defaults.synchronize();
}

}  // namespace xel
