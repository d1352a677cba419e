#include "XelPushClient/Classes/Topics/Subscriptions.h"

#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Topics/EventRequestRules.h"
#include "XelPushClient/Classes/Topics/NameRules.h"

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
    surroundings_.deferred.enqueueForThisIdentity([life = std::weak_ptr(life_), work = std::move(work)] {
        if (const auto self = life.lock()) {
            work(**self);
        }
    });
}

std::shared_ptr<MQTTSession> Subscriptions::connectedSession() const {
    return surroundings_.connectionState.isConnected() ? surroundings_.session.current() : nullptr;
}

void Subscriptions::subscribe(const std::vector<std::string>& channels, SubscribeOptions options) {
    const int qos = qosFor(options.live);
    TopicTable accepted;
    for (const auto& channel : channels) {
        const auto topic = generateTopicWithChannel(surroundings_.channels.identity(), channel);
        if (!topic) {
            for (const auto& [acceptedTopic, acceptedQos] : accepted) {
                surroundings_.channels.keepForConnect(acceptedTopic, acceptedQos);
            }
            surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(topic.error());
            return;
        }
        surroundings_.channels.setTopic(topic.value(), qos);
        if (!goingToTopics_) {
            goingToTopics_ = std::make_shared<TopicTable>();
        }
        goingToTopics_->set(topic.value(), qos);
        accepted.set(topic.value(), qos);
    }
    surroundings_.channels.storeUserChannels();
    subscribeWithTopicDictionary({goingToTopics_, batches_.takeTicket()}, InstallationUpdate::Wanted);
}

void Subscriptions::subscribeWithTopicDictionary(const Request& request, InstallationUpdate update) {
    if (update == InstallationUpdate::Wanted) {
        surroundings_.observer.installationUpdateWanted();
    }
    const auto session = connectedSession();
    if (!session) {
        deferBatch(request);
        return;
    }
    forgetRequestsOfFormerSession();
    const auto topics = batches_.stillWanted(request.topics, request.askedAt);
    if (!topics || topics->empty()) {
        return;
    }
    const auto outcome = session->subscribeToTopics(*topics);
    TVRLog(surroundings_.log, "brokerSession subscribe!");
    for (const auto packetId : outcome.superseded) {
        static_cast<void>(batches_.take(packetId));
    }
    for (const auto& batch : outcome.batches) {
        batches_.wasWritten(batch.packetId, {batch.filters, request.askedAt});
    }
    deferWhatWaits(request, *topics, outcome);
    giveUp(outcome.refused);
}

void Subscriptions::deferBatch(Request request) {
    deferUntilConnected([request = std::move(request)](Subscriptions& self) {
        self.subscribeWithTopicDictionary(request, InstallationUpdate::Wanted);
    });
}

void Subscriptions::deferWhatWaits(const Request& request, const TopicTable& topics,
                                   const MQTTSubscribeOutcome& outcome) {
    std::size_t settled = outcome.refused.size();
    for (const auto& batch : outcome.batches) {
        settled += batch.filters.size();
    }
    if (settled >= topics.size()) {
        return;
    }
    const auto waiting = std::make_shared<TopicTable>(topics);
    for (const auto& batch : outcome.batches) {
        for (const auto& filter : batch.filters) {
            waiting->remove(filter);
        }
    }
    for (const auto& refused : outcome.refused) {
        waiting->remove(refused.topic);
    }
    deferBatch({waiting, request.askedAt});
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
    MQTTSubscribeOutcome outcome;
    if (const auto session = connectedSession()) {
        outcome = session->subscribeToTopic(topic, qos);
    }
    forgetRequestsOfFormerSession();
    for (const auto& batch : outcome.batches) {
        // A batch that the session gave up is not answered, and its identifier may be this event's now.
        static_cast<void>(batches_.take(batch.packetId));
        subscribeMsgIds_[batch.packetId] = topic;
    }
    if (outcome.batches.empty() && outcome.refused.empty()) {
        deferUntilConnected([topic, qos](Subscriptions& self) { self.subscribeEventWithTopic(topic, qos); });
    }
    giveUp(outcome.refused);
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
    batches_.wasUnsubscribed(topic);
    surroundings_.observer.installationUpdateWanted();
    MQTTUnsubscribeOutcome outcome;
    if (const auto session = surroundings_.session.current()) {
        // Also without a connection: the session keeps it for a process that is killed before the next one.
        outcome = session->unsubscribeTopic(topic);
    }
    forgetRequestsOfFormerSession();
    if (outcome.packetId != 0) {
        unSubscribeMsgIds_[outcome.packetId] = topic;
    } else if (outcome.refused.empty()) {
        deferUntilConnected([topic](Subscriptions& self) { self.unsubscribeToTopic(topic); });
    } else {
        unsubscriptionFailed(topic, outcome.refused.front().error);
    }
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
    forgetRequestsOfFormerSession();
    surroundings_.channels.loadForConnect();
    const auto& wanted = surroundings_.channels.topics;
    goingToTopics_ = std::make_shared<TopicTable>(topicsOfThisClient());
    for (const auto& topic : grantedTopics()) {
        goingToTopics_->remove(topic);
    }
    for (const auto& topic : givenUp_) {
        if (!wanted || !wanted->contains(topic)) {
            goingToTopics_->remove(topic);
        }
    }
    if (!goingToTopics_->empty()) {
        subscribeWithTopicDictionary({goingToTopics_, batches_.takeTicket()}, InstallationUpdate::NotWanted);
    }
}

void Subscriptions::unsubscribeFromEverything() {
    surroundings_.channels.loadUserChannels();
    std::vector<std::string> topics;
    for (const auto& [topic, qos] : topicsOfThisClient()) {
        topics.push_back(topic);
    }
    if (const auto session = surroundings_.session.current(); session && !topics.empty()) {
        static_cast<void>(session->unsubscribeTopics(topics));
    }
}

void Subscriptions::forgetRequestsOfFormerSession() {
    const auto generation = surroundings_.session.generation();
    if (std::exchange(requestsGeneration_, generation) != generation) {
        subscribeMsgIds_.clear();
        unSubscribeMsgIds_.clear();
        batches_.forgetSession();
        givenUp_.clear();
    }
}

void Subscriptions::removeTopicFromUserDefault(std::string_view topic) {
    auto granted = grantedTopics();
    std::erase(granted, topic);
    storeGrantedTopics(granted);
}

void Subscriptions::forgetGrantedTopics() {
    surroundings_.defaults.removeObject(kSubscribedTopicsKey);
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
