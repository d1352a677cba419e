#include "XelPushClient/MQTTSDK/OutgoingTraffic.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {

OutgoingTraffic::OutgoingTraffic(SessionMemory& memory, const MQTTSessionParameters& parameters,
                                 const std::shared_ptr<PacketIds>& packetIds,
                                 const MQTTSessionOptions& options)
    : outbox_(memory, parameters.clientId, packetIds, options),
      granted_(memory, parameters.clientId),
      removals_(granted_, packetIds),
      suspects_(options),
      keepsSession_(!parameters.cleanSession),
      maxPacketSize_(std::min(options.maxPacketSize, kMQTTMaxRemainingLength)) {}

std::optional<UntoldOutcome> OutgoingTraffic::takeUntold() {
    if (unsendableTold_ < granted_.unsendable().size()) {
        const std::string& topic = granted_.unsendable()[unsendableTold_++];
        return UntoldOutcome{UntoldOutcome::Kind::SubscriptionFailed, topic, {}, makeNotSendableError(topic)};
    }
    if (!untold_.empty()) {
        UntoldOutcome outcome = std::move(untold_.front());
        untold_.pop_front();
        return outcome;
    }
    if (auto unusable = outbox_.takeUnusable()) {
        return UntoldOutcome{UntoldOutcome::Kind::PublicationFailed, std::move(unusable->entry.topic),
                             std::move(unusable->entry.payload), std::move(unusable->error)};
    }
    return std::nullopt;
}

// ---- The connection.

// A broker that has lost the session begins another one on CONNECT. If its CONNACK is lost, the next one
// tells of a kept session, which has no topics.
void OutgoingTraffic::connectionWillIntroduceItself() {
    granted_.load();
    wasRestorationAwaited_ = granted_.isRestorationAwaited();
    if (keepsSession_ && !granted_.topics().empty()) {
        granted_.setRestorationAwaited(true);
        granted_.store();
    }
}

void OutgoingTraffic::connectionWasRefused() {
    granted_.setRestorationAwaited(wasRestorationAwaited_);
    granted_.store();
}

void OutgoingTraffic::connectionDidOpen(const std::shared_ptr<MQTTConnection>& connection,
                                        bool sessionPresent) {
    queue_.emplace(connection, outbox_, suspects_);
    // Before anything gets an identifier that what could not be read so far may have.
    outbox_.load();
    if (sessionPresent && !wasRestorationAwaited_) {
        granted_.setRestorationAwaited(false);
        granted_.store();
    }
    // An UNSUBSCRIBE that was lost leaves first: for a topic that is wanted again it must not come second.
    if (sessionPresent) {
        removals_.sendDue(*queue_);
    } else {
        // The broker has forgotten the topics with the session. Whoever waits for an answer is told so.
        removals_.endAll(untold_);
    }
    restoreTopics(sessionPresent);
    queue_->goOn();
}

void OutgoingTraffic::connectionDidEnd(bool wasEndedByBroker, TimePoint now) {
    std::optional<SentThing> alone;
    doThenAlways(
        [&] {
            // Of a step that the connection did not live to finish: what was acknowledged is not sent again.
            outbox_.commitSettled();
            removals_.storeConfirmed();
            if (queue_) {
                alone = queue_->onlyUnanswered();  // while the requests that it looks at are still there
                removals_.keepUnanswered(requests().takeUnsubscribes());
            }
        },
        [this] {
            outbox_.connectionDidEnd();
            removals_.connectionDidEnd();
            queue_.reset();
        });
    if (!wasEndedByBroker) {
        return;
    }
    // After the removals have heard: giving one up takes
    // it out of what they keep for the next connection.
    const auto changed = suspects_.connectionWasEnded(alone, now);
    if (changed && !suspects_.isSetAside(*changed)) {
        giveUp(*changed);
    }
}

void OutgoingTraffic::restoreTopics(bool sessionPresent) {
    // A kept session has its topics, unless it began on
    // a connection that ended before it was given them.
    if (granted_.topics().empty() || (sessionPresent && !granted_.isRestorationAwaited())) {
        return;
    }
    // A clean session never comes back, so there is no later connection to warn.
    if (keepsSession_) {
        granted_.setRestorationAwaited(true);
        granted_.store();
    }
    static_cast<void>(subscribe(granted_.topics(), SubscribePurpose::Restoration));
}

// ---- What the owner asks for.

MQTTSubscribeOutcome OutgoingTraffic::subscribe(const TopicTable& topics, SubscribePurpose purpose) {
    MQTTSubscribeOutcome outcome;
    if (!queue_) {
        return outcome;
    }
    SubscribeRequest together{purpose, {}};
    std::vector<SubscribeRequest::Topic> alone;
    for (const auto& [filter, wantedQoS] : topics) {
        if (!isSendableTopicFilter(filter)) {
            outcome.refused.push_back({filter, makeNotSendableError(filter)});
            continue;
        }
        // Stored below, before the SUBSCRIBE leaves: the next
        // life must not unsubscribe what is wanted again.
        removals_.wasSubscribedAgain(filter);
        queue_->dropParked(SentThing::Kind::Unsubscription, filter);
        auto& leaving = queue_->leavesAlone(SentThing::subscription(filter)) ? alone : together.topics;
        leaving.push_back({filter, std::clamp(wantedQoS, 0, kMQTTHighestQoS)});
    }
    granted_.store();
    queue_->sendOneByOne(purpose, std::move(alone), outcome);
    if (!together.topics.empty()) {
        queue_->send(std::move(together), outcome);
    }
    return outcome;
}

MQTTUnsubscribeOutcome OutgoingTraffic::unsubscribe(std::span<const std::string_view> topics) {
    MQTTUnsubscribeOutcome outcome;
    UnsubscribeRequest request;
    if (queue_) {
        requests().noteUnsubscribed(topics);
    }
    for (const std::string_view topic : topics) {
        if (queue_) {
            queue_->dropParked(SentThing::Kind::Subscription, topic);
        }
        // A broker that granted a topic lives with its name.
        const bool canBeSent =
            isSendableTopicFilter(topic) || (isValidTopicFilter(topic) && granted_.wasGranted(topic));
        if (!canBeSent) {
            granted_.forget(topic);
            outcome.refused.push_back({std::string(topic), makeNotSendableError(topic)});
            continue;
        }
        granted_.beginRemoval(topic);
        request.filters.emplace_back(topic);
    }
    // Before the UNSUBSCRIBE leaves: if the process is killed with it, the next one sends it again.
    granted_.store();
    if (request.filters.empty()) {
        return outcome;
    }
    const std::vector<std::string> filters = request.filters;
    outcome.packetId = queue_ ? removals_.send(std::move(request), *queue_) : std::uint16_t{0};
    removals_.wereAskedFor(filters, outcome.packetId != 0);
    return outcome;
}

Result<void> OutgoingTraffic::publishAtMostOnce(std::string_view data, std::string_view topic, bool retain) {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    if (const std::size_t size = publishPacketSize(topic, data, 0); size > maxPacketSize_) {
        return makeTooLargeError(topic, size, maxPacketSize_);
    }
    if (sendsAtMostOnce()) {
        queue_->sendAtMostOnce(topic, data, retain);
    }
    return {};
}

Result<void> OutgoingTraffic::publishAtLeastOnce(std::string_view data, std::string_view topic, bool retain) {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    loadOutbox();
    const auto added = outbox_.add(topic, data, retain);
    if (!added) {
        return added.error();
    }
    if (queue_) {
        queue_->send(*added.value());
    }
    return {};
}

// What could not be read so far leaves ahead of what is published now.
void OutgoingTraffic::loadOutbox() {
    if (outbox_.isLoaded()) {
        return;
    }
    outbox_.load();
    if (queue_) {
        queue_->goOn();
    }
}

void OutgoingTraffic::stepDidFinish() {
    outbox_.commitSettled();
    removals_.storeConfirmed();
    loadOutbox();
}

// ---- Answers.

void OutgoingTraffic::publicationWasAcknowledged(std::uint16_t packetId) {
    // One that was not waited for is ignored.
    const auto publication = outbox_.settle(packetId);
    if (!publication) {
        return;
    }
    engine().noteAnswerTo(publication->place.value_or(0));
    const SentThing thing = SentThing::publication(packetId);
    answersWereTaken({&thing, 1});
}

void OutgoingTraffic::subscribeWasAnswered() {
    const SubscribeRequest& request = engine().answeredSubscribe();
    const std::span<const std::uint8_t> codes = engine().answeredCodes();
    const bool isRestoration = request.purpose == SubscribePurpose::Restoration;
    std::vector<SentThing> things;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const SubscribeRequest::Topic& topic = request.topics[i];
        if (queue_->looksAtAnswers()) {
            things.push_back(SentThing::subscription(topic.filter));
        }
        if (topic.wasUnsubscribed) {
            // No longer wanted before this answer came: the UNSUBSCRIBE is on its way.
            continue;
        }
        const auto answer = granted_.takeAnswer(topic.filter, codes[i]);
        if (isRestoration && answer == GrantedTopics::Answer::TakesGrantBack) {
            untold_.push_back({UntoldOutcome::Kind::RestoredTopicRefused, topic.filter, {}, {}});
        }
    }
    if (isRestoration && !requests().isAnyFor(SubscribePurpose::Restoration)) {
        granted_.setRestorationAwaited(false);
    }
    answersWereTaken(things);
}

void OutgoingTraffic::unsubscribeWasAnswered() {
    const auto& filters = engine().answeredUnsubscribe().filters;
    removals_.wereConfirmed(filters);
    std::vector<SentThing> things;
    if (queue_->looksAtAnswers()) {
        for (const std::string& filter : filters) {
            things.push_back(SentThing::unsubscription(filter));
        }
    }
    answersWereTaken(things);
}

void OutgoingTraffic::answersWereTaken(std::span<const SentThing> things) {
    removals_.settleWhatWasSplit(requests(), untold_);
    queue_->answersWereTaken(things);
}

// ---- What was set aside.

std::optional<OutgoingTraffic::TimePoint> OutgoingTraffic::nextTry() const {
    return queue_ ? queue_->nextTry() : std::nullopt;
}

void OutgoingTraffic::tryAgain(TimePoint now) {
    if (queue_) {
        queue_->tryAgain(now);
    }
}

void OutgoingTraffic::giveUp(const SentThing& thing) {
    switch (thing.kind) {
        case SentThing::Kind::Publication: {
            const auto [topic, data] = Outbox::contentOf(outbox_.at(thing.packetId));
            untold_.push_back(makeGivenUpOutcome(thing.kind, topic, data));
            // Last: topic and data point into the packet that goes with it.
            outbox_.drop(thing.packetId);
            return;
        }
        case SentThing::Kind::Subscription:
            granted_.forget(thing.filter);
            granted_.store();
            break;
        case SentThing::Kind::Unsubscription: removals_.giveUp(thing.filter); break;
    }
    untold_.push_back(makeGivenUpOutcome(thing.kind, thing.filter));
}

}  // namespace xel
