#include "XelPushClient/Classes/Topics/SubscriptionAnswers.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "XelPushClient/Classes/Topics/SubscriptionErrors.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

bool isOwnChannel(std::string_view channel, const std::optional<std::string>& deviceId) {
    constexpr std::string_view kPrivate = "private/";
    if (!channel.starts_with(kPrivate)) {
        return false;
    }
    channel.remove_prefix(kPrivate.size());
    return channel == "default" || channel == textOrNull(deviceId);
}

}  // namespace

bool SubscriptionAnswers::eventWasAnswered(std::uint16_t packetId) {
    const auto& pending = surroundings_.requests.subscribeMsgIds();
    const auto found = pending.find(packetId);
    if (found == pending.end() || isDeliveryTopic(found->second, surroundings_.settings.appId())) {
        return false;
    }
    const auto topic = found->second;
    surroundings_.requests.removeFromSubscriberMsgIds(packetId);
    surroundings_.fanout.invokePushClientManagerDidSubscribed(getChannelFromTopic(topic));
    return true;
}

void SubscriptionAnswers::subAckReceived(std::uint16_t packetId, std::span<const std::uint8_t> grantedQoss) {
    auto& requests = surroundings_.requests;
    requests.forgetThoseOfFormerSession();
    auto& batches = requests.batches();
    // The batch first: an event whose answer was lost keeps its entry, under the same identifier perhaps.
    if (!batches.contains(packetId) && eventWasAnswered(packetId)) {
        return;
    }
    auto [filters, askedAt] = requests.takeAnsweredBatch(packetId);
    // They differ only for an identifier that is not known, whose table is a guess.
    filters.resize(std::min(filters.size(), grantedQoss.size()));
    auto granted = surroundings_.subscribedTopics.load();
    std::vector<std::string_view> unreported;
    for (std::size_t i = 0; i < filters.size(); ++i) {
        // One that was unsubscribed before its answer came is on its way out of the broker: counted as
        // granted it would never be asked for again.
        const bool isGranted =
            grantedQoss[i] == kAtLeastOnce && !batches.isUnsubscribedSince(askedAt, filters[i]);
        if (isGranted && !batches.isStoredSince(askedAt, filters[i])) {
            granted.push_back(filters[i]);
        }
        if (!batches.isReportedSince(askedAt, filters[i])) {
            unreported.push_back(filters[i]);
        }
        batches.wasAnswered(filters[i], askedAt, isGranted);
    }
    // All of them before the first report: a host's callback may throw, or end the process.
    surroundings_.subscribedTopics.store(std::move(granted));
    const auto generation = surroundings_.session.generation();
    for (const std::string_view topic : unreported) {
        if (generation != surroundings_.session.generation()) {
            return;
        }
        reportGrantedTopic(topic);
    }
}

void SubscriptionAnswers::reportGrantedTopic(std::string_view topic) {
    if (isDeliveryTopic(topic, surroundings_.settings.appId())) {
        return;
    }
    // What the client asks for by itself is no subscription of the host's.
    const auto channel = getChannelFromTopic(topic);
    if (!channel || !isOwnChannel(*channel, surroundings_.settings.deviceId())) {
        surroundings_.fanout.invokePushClientManagerDidSubscribed(channel);
    }
}

void SubscriptionAnswers::unsubAckReceived(std::uint16_t packetId) {
    auto& requests = surroundings_.requests;
    requests.forgetThoseOfFormerSession();
    const auto pending = requests.unSubscribeMsgIds().find(packetId);
    if (pending == requests.unSubscribeMsgIds().end()) {
        return;
    }
    if (const auto channel = getChannelFromTopic(pending->second)) {
        // The entry that goes is the one in the table of subscriptions; the other stays, as hosts of earlier
        // versions have it.
        surroundings_.fanout.invokePushClientManagerDidUnsubscribed(
            *channel, [&requests, packetId] { requests.removeFromSubscriberMsgIds(packetId); });
    }
}

void SubscriptionAnswers::giveUp(std::span<const MQTTRefusedTopic> refused) {
    surroundings_.requests.forgetThoseOfFormerSession();
    if (refused.empty()) {
        return;
    }
    // The topics have left everything before the host hears of the first: it may subscribe again in its
    // callback.
    std::vector<std::string_view> topics;
    for (const auto& [topic, error] : refused) {
        topics.push_back(topic);
        surroundings_.requests.wasGivenUp(topic);
    }
    surroundings_.channels.giveUpTopics(topics);
    surroundings_.subscribedTopics.removeTopicsFromUserDefault(topics);
    const auto generation = surroundings_.session.generation();
    for (const auto& [topic, error] : refused) {
        if (generation != surroundings_.session.generation()) {
            return;
        }
        surroundings_.fanout.invokePushClientManagerDidFailInSubscribe(makeSubscriptionError(topic, error));
    }
}

void SubscriptionAnswers::unsubscriptionFailed(std::string_view topic, const NSError& error) {
    surroundings_.fanout.invokePushClientManagerDidFailInUnsubscribe(makeUnsubscriptionError(topic, error));
}

}  // namespace xel
