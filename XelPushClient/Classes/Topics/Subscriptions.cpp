#include "XelPushClient/Classes/Topics/Subscriptions.h"

#include <utility>

#include "XelPushClient/Classes/Topics/EventRequestRules.h"
#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Classes/Topics/SubscribedTopics.h"
#include "XelPushClient/Classes/Topics/SubscriptionAnswers.h"
#include "XelPushClient/Classes/Topics/SubscriptionRequests.h"

namespace xel {
namespace {

int qosFor(bool live) {
    return live ? kAtMostOnce : kAtLeastOnce;
}

}  // namespace

Subscriptions::Subscriptions(Surroundings surroundings)
    : surroundings_(surroundings), wayIn_(surroundings.life.wayInto(*this)) {}

template <class Work>
void Subscriptions::deferUntilConnected(Work work) {
    surroundings_.deferred.enqueueForThisIdentity([wayIn = wayIn_, work = std::move(work)] {
        if (const auto self = wayIn.hold()) {
            work(*self);
        }
    });
}

std::shared_ptr<MQTTSession> Subscriptions::connectedSession() const {
    return surroundings_.connectionState.isConnected() ? surroundings_.session.current() : nullptr;
}

void Subscriptions::subscribe(const std::vector<std::string>& channels, SubscribeOptions options) {
    const int qos = qosFor(options.live);
    const auto identity = surroundings_.channels.identity();
    std::vector<std::string> accepted;
    accepted.reserve(channels.size());
    for (const auto& channel : channels) {
        auto topic = generateTopicWithChannel(identity, channel);
        if (!topic) {
            for (const auto& acceptedTopic : accepted) {
                // The host hears of the invalid one only, so those before it must not be lost.
                surroundings_.channels.keepForConnect(acceptedTopic, qos);
            }
            surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(topic.error());
            return;
        }
        surroundings_.channels.setTopic(topic.value(), qos);
        surroundings_.requests.addToGoingToTopics(topic.value(), qos);
        accepted.push_back(std::move(topic).value());
    }
    surroundings_.channels.storeUserChannels();
    subscribeWithTopicDictionary(newestRequest(), InstallationUpdate::Wanted);
}

Subscriptions::Request Subscriptions::newestRequest() {
    return {surroundings_.requests.goingToTopics(), surroundings_.requests.batches().takeTicket()};
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
    surroundings_.requests.forgetThoseOfFormerSession();
    auto& batches = surroundings_.requests.batches();
    const auto topics = batches.stillWanted(request.topics, request.askedAt);
    if (!topics || topics->empty()) {
        return;
    }
    const auto outcome = session->subscribeToTopics(*topics);
    TVRLog(surroundings_.log, "brokerSession subscribe!");
    for (const auto packetId : outcome.superseded) {
        static_cast<void>(batches.take(packetId));
    }
    for (const auto& batch : outcome.batches) {
        batches.wasWritten(batch.packetId, {batch.filters, request.askedAt});
    }
    deferWhatWaits(request, *topics, outcome);
    // Last: hosts hear of these, and may subscribe again or end the session.
    surroundings_.answers.giveUp(outcome.refused);
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
    surroundings_.requests.forgetThoseOfFormerSession();
    for (const auto& batch : outcome.batches) {
        surroundings_.requests.addToSubscriberMsgIds(batch.packetId, topic);
    }
    if (outcome.batches.empty() && outcome.refused.empty()) {
        deferUntilConnected([topic, qos](Subscriptions& self) { self.subscribeEventWithTopic(topic, qos); });
    }
    surroundings_.answers.giveUp(outcome.refused);
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
    surroundings_.subscribedTopics.removeTopicFromUserDefault(topic);
    surroundings_.channels.storeUserChannels();
    surroundings_.requests.batches().wasUnsubscribed(topic);
    surroundings_.observer.installationUpdateWanted();
    MQTTUnsubscribeOutcome outcome;
    if (const auto session = surroundings_.session.current()) {
        // Also without a connection: the session keeps it for a process that is killed before the next one.
        outcome = session->unsubscribeTopic(topic);
    }
    surroundings_.requests.forgetThoseOfFormerSession();
    if (outcome.packetId != 0) {
        surroundings_.requests.addToUnsubscriberMsgIds(outcome.packetId, topic);
    } else if (outcome.refused.empty()) {
        // Repeated whole, as hosts know it: what was subscribed to again meanwhile leaves the table once
        // more.
        deferUntilConnected([topic](Subscriptions& self) { self.unsubscribeToTopic(topic); });
    } else {
        surroundings_.answers.unsubscriptionFailed(topic, outcome.refused.front().error);
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
    surroundings_.requests.forgetThoseOfFormerSession();
    surroundings_.channels.loadForConnect();
    const auto& wanted = surroundings_.channels.topics;
    TopicTable unsubscribed = topicsOfThisClient();
    for (const auto& topic : surroundings_.subscribedTopics.load()) {
        // The broker has kept these, or the session gives them to it again by itself.
        unsubscribed.remove(topic);
    }
    for (const auto& topic : surroundings_.requests.givenUp()) {
        // What the client asks for by itself and the broker ended connections on is left out. A topic
        // that the host has asked for anew is among the wanted ones again.
        if (!wanted || !wanted->contains(topic)) {
            unsubscribed.remove(topic);
        }
    }
    surroundings_.requests.replaceGoingToTopics(std::move(unsubscribed));
    if (!surroundings_.requests.goingToTopics()->empty()) {
        subscribeWithTopicDictionary(newestRequest(), InstallationUpdate::NotWanted);
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

}  // namespace xel
