#include "XelPushClient/MQTTSDK/OutgoingTraffic.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/MQTTSDK/SendableNames.h"

namespace xel {

OutgoingTraffic::OutgoingTraffic(SessionMemory& memory, const MQTTSessionParameters& parameters,
                                 std::shared_ptr<PacketIds> packetIds, const MQTTSessionOptions& options)
    : packetIds_(std::move(packetIds)),
      outbox_(memory, parameters.clientId, packetIds_, options),
      granted_(memory, parameters.clientId),
      suspects_(options),
      keepsSession_(!parameters.cleanSession),
      maxPacketSize_(std::min(options.maxPacketSize, kMQTTMaxRemainingLength)) {
    for (const std::string& topic : granted_.unsendable()) {
        untold_.push_back({UntoldOutcome::Kind::SubscriptionFailed, topic, {}, makeNotSendableError(topic)});
    }
}

std::optional<UntoldOutcome> OutgoingTraffic::takeUntold() {
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

void OutgoingTraffic::connectionDidOpen(const std::shared_ptr<MQTTConnection>& connection,
                                        bool sessionPresent) {
    connection_ = connection;
    isOneAtATime_ = suspects_.callForOneAtATime();
    sendRemovalsAgain(sessionPresent);
    restoreTopics(sessionPresent);
    if (isHolding()) {
        goOn();
    } else {
        writeAllHeld();
    }
}

void OutgoingTraffic::connectionDidEnd(bool wasEndedByBroker, TimePoint now) {
    outbox_.commitSettled();
    if (!connection_) {
        return;
    }
    const auto alone = onlyUnanswered();
    lostUnsubscribes_.merge(engine().requests().takeUnsubscribes());
    outbox_.connectionDidEnd();
    connection_.reset();
    held_.clear();
    parked_.clear();
    trying_.reset();
    if (!wasEndedByBroker) {
        return;
    }
    const auto changed = suspects_.connectionWasEnded(alone, now);
    if (changed && !suspects_.isSetAside(*changed)) {
        giveUp(*changed);
    }
}

std::size_t OutgoingTraffic::countUnanswered() const {
    return connection_ ? outbox_.countUnanswered() + engine().countUnansweredRequests() : 0;
}

std::optional<SentThing> OutgoingTraffic::onlyUnanswered() const {
    if (countUnanswered() != 1) {
        return std::nullopt;
    }
    const auto& publications = outbox_.publications();
    const auto written = std::find_if(publications.begin(), publications.end(),
                                      [](const auto& publication) { return publication.place.has_value(); });
    if (written != publications.end()) {
        return SentThing::publication(written->packetId);
    }
    for (const auto& [packetId, request] : engine().requests().subscribes()) {
        if (request.place) {
            return thingOf(packetId);
        }
    }
    for (const auto& [packetId, request] : engine().requests().unsubscribes()) {
        if (request.place) {
            return thingOf(packetId);
        }
    }
    return std::nullopt;
}

std::optional<SentThing> OutgoingTraffic::thingOf(std::uint16_t packetId) const {
    if (const auto* request = engine().requests().findSubscribe(packetId)) {
        return request->topics.size() == 1
                   ? std::optional(SentThing::subscription(request->topics.front().filter))
                   : std::nullopt;
    }
    const auto* request = engine().requests().findUnsubscribe(packetId);
    return request != nullptr && request->filters.size() == 1
               ? std::optional(SentThing::unsubscription(request->filters.front()))
               : std::nullopt;
}

// An UNSUBSCRIBE that was lost, with its connection or with its process, comes first: messages of a topic
// that the host has left must not go on arriving.
void OutgoingTraffic::sendRemovalsAgain(bool sessionPresent) {
    auto lost = std::exchange(lostUnsubscribes_, {});
    if (!sessionPresent) {
        for (const auto& [packetId, request] : lost) {
            packetIds_->release(packetId);
            untold_.push_back({UntoldOutcome::Kind::UnsubscriptionSettled, {}, {}, {}, packetId});
        }
        granted_.endAllRemovals();
        granted_.store();
        return;
    }
    auto rest = granted_.unconfirmedRemovals();
    for (const std::string& topic : askedForOffline_) {
        rest.erase(topic);
    }
    for (auto& [packetId, request] : lost) {
        // One that was subscribed to again is not to be removed any more.
        std::erase_if(request.filters, [&](const std::string& topic) {
            return !granted_.unconfirmedRemovals().contains(topic);
        });
        if (request.filters.empty()) {
            packetIds_->release(packetId);
            continue;
        }
        for (const std::string& topic : request.filters) {
            rest.erase(topic);
        }
        request.place.reset();
        engine().addUnsubscribe(packetId, std::move(request));
        MQTTSubscribeOutcome none;
        writeOrHold(packetId, none);
    }
    if (!isOneAtATime_ && !rest.empty()) {
        add(UnsubscribeRequest{{rest.begin(), rest.end()}});
        return;
    }
    for (const std::string& topic : rest) {
        add(UnsubscribeRequest{{topic}});
    }
}

void OutgoingTraffic::restoreTopics(bool sessionPresent) {
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
    if (!connection_) {
        return outcome;
    }
    SubscribeRequest together{purpose, {}};
    for (const auto& [filter, wantedQoS] : topics) {
        if (!isSendableTopicFilter(filter)) {
            outcome.refused.push_back({filter, makeNotSendableError(filter)});
            continue;
        }
        granted_.endRemoval(filter);
        askedForOffline_.erase(filter);
        const SubscribeRequest::Topic topic{filter, std::clamp(wantedQoS, 0, kMQTTHighestQoS)};
        if (isHolding() || suspects_.isSetAside(SentThing::subscription(filter))) {
            add({purpose, {topic}}, outcome);
        } else {
            together.topics.push_back(topic);
        }
    }
    granted_.store();
    if (!together.topics.empty()) {
        add(std::move(together), outcome);
    }
    return outcome;
}

void OutgoingTraffic::add(SubscribeRequest request, MQTTSubscribeOutcome& outcome) {
    if (isHolding() && request.purpose == SubscribePurpose::Batch) {
        supersedeHeld(request, outcome);
    }
    MQTTSubscribeBatch batch;
    for (const SubscribeRequest::Topic& topic : request.topics) {
        batch.filters.push_back(topic.filter);
    }
    batch.packetId = engine().addSubscribe(std::move(request));
    if (batch.packetId == 0) {
        return;
    }
    const std::uint16_t packetId = batch.packetId;
    outcome.batches.push_back(std::move(batch));
    writeOrHold(packetId, outcome);
}

// What held requests ask for in one pass is sent once too.
void OutgoingTraffic::supersedeHeld(const SubscribeRequest& later, MQTTSubscribeOutcome& outcome) {
    std::erase_if(held_, [&](std::uint16_t packetId) {
        const auto* earlier = engine().requests().findSubscribe(packetId);
        const bool isSame = earlier != nullptr && earlier->purpose == SubscribePurpose::Batch &&
                            earlier->topics.front().filter == later.topics.front().filter &&
                            earlier->topics.front().qos == later.topics.front().qos;
        if (isSame) {
            static_cast<void>(engine().requests().takeSubscribe(packetId));
            outcome.superseded.push_back(packetId);
        }
        return isSame;
    });
}

MQTTUnsubscribeOutcome OutgoingTraffic::unsubscribe(std::span<const std::string_view> topics) {
    MQTTUnsubscribeOutcome outcome;
    UnsubscribeRequest request;
    for (const std::string_view topic : topics) {
        if (connection_) {
            engine().requests().noteUnsubscribed(topic);
            dropParked(topic);
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
    granted_.store();
    if (request.filters.empty()) {
        return outcome;
    }
    const std::vector<std::string> filters = request.filters;
    outcome.packetId = connection_ ? add(std::move(request)) : std::uint16_t{0};
    for (const std::string& filter : filters) {
        if (outcome.packetId == 0) {
            askedForOffline_.insert(filter);
        } else {
            askedForOffline_.erase(filter);
        }
    }
    return outcome;
}

// What waits to be tried would come behind the UNSUBSCRIBE.
void OutgoingTraffic::dropParked(std::string_view topic) {
    std::erase_if(parked_, [&](std::uint16_t packetId) {
        const auto* request = engine().requests().findSubscribe(packetId);
        const bool isIt = request != nullptr && request->topics.front().filter == topic;
        if (isIt) {
            static_cast<void>(engine().requests().takeSubscribe(packetId));
        }
        return isIt;
    });
}

std::uint16_t OutgoingTraffic::add(UnsubscribeRequest request) {
    const std::uint16_t packetId = engine().addUnsubscribe(std::move(request));
    if (packetId != 0) {
        MQTTSubscribeOutcome none;
        writeOrHold(packetId, none);
    }
    return packetId;
}

Result<void> OutgoingTraffic::publishAtMostOnce(std::string_view data, std::string_view topic, bool retain) {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    if (const std::size_t size = publishPacketSize(topic, data, 0); size > maxPacketSize_) {
        return makeTooLargeError(topic, size, maxPacketSize_);
    }
    if (connection_ && !isHolding()) {
        engine().publishAtMostOnce(topic, data, retain);
        connection_->flushSoon();
    }
    return {};
}

Result<void> OutgoingTraffic::publishAtLeastOnce(std::string_view data, std::string_view topic, bool retain) {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    const auto added = outbox_.add(topic, data, retain);
    if (!added) {
        return added.error();
    }
    if (!connection_) {
        return {};
    }
    if (isHolding()) {
        goOn();
    } else {
        write(*added.value());
    }
    return {};
}

// ---- Writing.

void OutgoingTraffic::writeOrHold(std::uint16_t packetId, MQTTSubscribeOutcome& outcome) {
    if (isSetAside(packetId)) {
        parked_.push_back(packetId);
    } else if (isHolding()) {
        held_.push_back(packetId);
        goOn();
    } else {
        write(packetId, outcome);
    }
}

void OutgoingTraffic::write(std::uint16_t packetId, MQTTSubscribeOutcome& outcome) {
    if (engine().requests().findSubscribe(packetId) == nullptr) {
        static_cast<void>(engine().writeUnsubscribe(packetId));
        connection_->flushSoon();
        return;
    }
    if (engine().writeSubscribe(packetId, outcome.superseded)) {
        // Not before the pass is over: a later table may contain this one.
        connection_->flushAtEndOfPass();
        return;
    }
    const auto tooLarge = std::find_if(outcome.batches.begin(), outcome.batches.end(),
                                       [&](const auto& batch) { return batch.packetId == packetId; });
    if (tooLarge != outcome.batches.end()) {
        for (const std::string& filter : tooLarge->filters) {
            outcome.refused.push_back(
                {filter, makeMQTTError(MQTTErrorCode::NameNotSendable,
                                       "the topic '" + shownName(filter) +
                                           "' was asked for with more others than one SUBSCRIBE can hold")});
        }
        outcome.batches.erase(tooLarge);
    }
}

void OutgoingTraffic::write(Outbox::Publication& publication) {
    outbox_.write(publication, engine());
    connection_->flushSoon();
}

void OutgoingTraffic::writeAllHeld() {
    while (writeHeldRequest()) {}
    for (Outbox::Publication& publication : outbox_.publications()) {
        if (isInTurn(publication)) {
            write(publication);
        }
    }
}

// The next thing in its turn: requests before publications.
bool OutgoingTraffic::writeNextHeld() {
    if (writeHeldRequest()) {
        return true;
    }
    auto& publications = outbox_.publications();
    const auto next = std::find_if(publications.begin(), publications.end(),
                                   [this](const auto& publication) { return isInTurn(publication); });
    if (next == publications.end()) {
        return false;
    }
    write(*next);
    return true;
}

bool OutgoingTraffic::writeHeldRequest() {
    if (held_.empty()) {
        return false;
    }
    const std::uint16_t packetId = held_.front();
    held_.pop_front();
    MQTTSubscribeOutcome none;
    write(packetId, none);
    return true;
}

bool OutgoingTraffic::isInTurn(const Outbox::Publication& publication) const {
    return !publication.place && !suspects_.isSetAside(SentThing::publication(publication.packetId));
}

void OutgoingTraffic::goOn() {
    if (trying_ || countUnanswered() != 0) {
        return;
    }
    static_cast<void>(writeNextHeld());
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
        things.push_back(SentThing::subscription(topic.filter));
        if (topic.wasUnsubscribed) {
            continue;
        }
        if (codes[i] != kMQTTSubscribeFailure) {
            granted_.grant(topic.filter, std::min<int>(codes[i], kMQTTHighestQoS));
        } else if (granted_.topics().contains(topic.filter)) {
            granted_.forget(topic.filter);
            if (isRestoration) {
                untold_.push_back({UntoldOutcome::Kind::RestoredTopicRefused, topic.filter, {}, {}});
            }
        }
    }
    if (isRestoration && !isRestorationOutstanding()) {
        granted_.setRestorationAwaited(false);
    }
    granted_.store();
    answersWereTaken(things);
}

void OutgoingTraffic::unsubscribeWasAnswered() {
    std::vector<SentThing> things;
    for (const std::string& filter : engine().answeredUnsubscribe().filters) {
        granted_.endRemoval(filter);
        things.push_back(SentThing::unsubscription(filter));
    }
    granted_.store();
    answersWereTaken(things);
}

bool OutgoingTraffic::isRestorationOutstanding() const {
    const auto& subscribes = engine().requests().subscribes();
    return std::any_of(subscribes.begin(), subscribes.end(), [](const auto& pending) {
        return pending.second.purpose == SubscribePurpose::Restoration;
    });
}

void OutgoingTraffic::answersWereTaken(std::span<const SentThing> things) {
    if (!suspects_.isEmpty()) {
        for (const SentThing& thing : things) {
            suspects_.didAnswer(thing);
        }
        // What is not set aside any more takes its turn.
        std::vector<std::uint16_t> freed;
        std::erase_if(parked_, [&](std::uint16_t packetId) {
            const bool isFree = !isSetAside(packetId);
            if (isFree && thingOf(packetId)) {
                freed.push_back(packetId);
            }
            return isFree;
        });
        held_.insert(held_.end(), freed.begin(), freed.end());
    }
    if (countUnanswered() == 0) {
        everythingWasAnswered();
    }
    if (!isHolding() && (!held_.empty() || outbox_.countUnwritten() != 0)) {
        writeAllHeld();
    }
}

void OutgoingTraffic::everythingWasAnswered() {
    if (trying_) {
        if (suspects_.isSetAside(*trying_)) {
            writeTried();  // it waited for this
            return;
        }
        trying_.reset();
    }
    if (isOneAtATime_ && writeNextHeld()) {
        return;
    }
    suspects_.didAnswerEverything();
    isOneAtATime_ = false;
}

// ---- What was set aside.

bool OutgoingTraffic::isSetAside(std::uint16_t packetId) const {
    const auto thing = suspects_.isEmpty() ? std::nullopt : thingOf(packetId);
    return thing && suspects_.isSetAside(*thing);
}

bool OutgoingTraffic::canTry(const SentThing& thing) const {
    if (thing.kind == SentThing::Kind::Publication) {
        return outbox_.contains(thing.packetId);
    }
    return std::any_of(parked_.begin(), parked_.end(),
                       [&](std::uint16_t packetId) { return thingOf(packetId) == thing; });
}

std::optional<Suspects::Try> OutgoingTraffic::nextThingToTry() const {
    const bool othersHaveTheirTurn = isOneAtATime_ && countUnanswered() != 0;
    if (!connection_ || trying_ || othersHaveTheirTurn || suspects_.isEmpty()) {
        return std::nullopt;
    }
    return suspects_.nextTry([this](const SentThing& thing) { return canTry(thing); });
}

std::optional<OutgoingTraffic::TimePoint> OutgoingTraffic::nextTry() const {
    const auto next = nextThingToTry();
    return next ? std::optional(next->dueAt) : std::nullopt;
}

void OutgoingTraffic::tryAgain(TimePoint now) {
    const auto next = nextThingToTry();
    if (!next || next->dueAt > now) {
        return;
    }
    // From now on everything else waits, so that it is alone.
    trying_ = next->thing;
    if (countUnanswered() == 0) {
        writeTried();
    }
}

void OutgoingTraffic::writeTried() {
    if (trying_->kind == SentThing::Kind::Publication) {
        write(outbox_.at(trying_->packetId));
        return;
    }
    const auto parked = std::find_if(parked_.begin(), parked_.end(),
                                     [&](std::uint16_t packetId) { return thingOf(packetId) == trying_; });
    const std::uint16_t packetId = *parked;
    parked_.erase(parked);
    MQTTSubscribeOutcome none;
    write(packetId, none);
}

void OutgoingTraffic::giveUp(const SentThing& thing) {
    const std::string reason =
        " was given up: the broker ended the connection on it each time it was sent, and took others";
    if (thing.kind == SentThing::Kind::Publication) {
        const auto [topic, data] = Outbox::contentOf(outbox_.at(thing.packetId));
        untold_.push_back({UntoldOutcome::Kind::PublicationFailed, std::string(topic), std::string(data),
                           makeMQTTError(MQTTErrorCode::GivenUp,
                                         "the publication on topic '" + shownName(topic) + "'" + reason)});
        outbox_.drop(thing.packetId);
    } else if (thing.kind == SentThing::Kind::Subscription) {
        untold_.push_back(
            {UntoldOutcome::Kind::SubscriptionFailed,
             thing.filter,
             {},
             makeMQTTError(MQTTErrorCode::GivenUp,
                           "the subscription to topic '" + shownName(thing.filter) + "'" + reason)});
        granted_.forget(thing.filter);
        granted_.store();
    } else {
        giveUpUnsubscription(thing.filter);
        untold_.push_back(
            {UntoldOutcome::Kind::UnsubscriptionFailed,
             thing.filter,
             {},
             makeMQTTError(MQTTErrorCode::GivenUp,
                           "unsubscribing from topic '" + shownName(thing.filter) + "'" + reason)});
    }
}

void OutgoingTraffic::giveUpUnsubscription(const std::string& filter) {
    granted_.endRemoval(filter);
    granted_.store();
    for (auto lost = lostUnsubscribes_.begin(); lost != lostUnsubscribes_.end();) {
        std::erase(lost->second.filters, filter);
        if (lost->second.filters.empty()) {
            packetIds_->release(lost->first);
            lost = lostUnsubscribes_.erase(lost);
        } else {
            ++lost;
        }
    }
}

}  // namespace xel
