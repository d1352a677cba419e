#include "XelPushClient/MQTTSDK/OutgoingTraffic.h"

#include <algorithm>
#include <utility>

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
    // An UNSUBSCRIBE that was lost leaves first: for a topic that is wanted again it must not come second.
    sendRemovalsAgain(sessionPresent);
    restoreTopics(sessionPresent);
    if (isHolding()) {
        goOn();
    } else {
        writeAllHeld();
    }
}

void OutgoingTraffic::connectionDidEnd(bool wasEndedByBroker, TimePoint now) {
    // Of a step that the connection did not live to finish: what was acknowledged is not sent again.
    outbox_.commitSettled();
    if (!connection_) {
        return;
    }
    const auto alone = onlyUnanswered();  // while the requests that it looks at are still there
    removals_.connectionDidEnd(requests().takeUnsubscribes());
    outbox_.connectionDidEnd();
    connection_.reset();
    waiting_.clear();
    trying_.reset();
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
    const auto packetId = requests().firstWritten();
    return packetId ? thingOf(requests(), *packetId) : std::nullopt;
}

void OutgoingTraffic::sendRemovalsAgain(bool sessionPresent) {
    if (!sessionPresent) {
        // The broker has forgotten the topics with the session. Whoever waits for an answer is told so.
        for (const std::uint16_t packetId : removals_.endAll()) {
            untold_.push_back({UntoldOutcome::Kind::UnsubscriptionSettled, {}, {}, {}, packetId});
        }
        return;
    }
    TopicRemovals::Due due = removals_.takeDue();
    // Under the identifiers that they had: their owner knows the answer by these.
    for (auto& [packetId, request] : due.lost) {
        engine().addUnsubscribe(packetId, std::move(request));
        writeOrHold(packetId);
    }
    if (!isOneAtATime_ && !due.others.empty()) {
        add(UnsubscribeRequest{{due.others.begin(), due.others.end()}});
        return;
    }
    for (const std::string& topic : due.others) {
        // One topic each, so that the one on which the broker ends the connection stands alone.
        add(UnsubscribeRequest{{topic}});
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
    if (!connection_) {
        return outcome;
    }
    SubscribeRequest together{purpose, {}};
    for (const auto& [filter, wantedQoS] : topics) {
        if (!isSendableTopicFilter(filter)) {
            outcome.refused.push_back({filter, makeNotSendableError(filter)});
            continue;
        }
        // Stored below, before the SUBSCRIBE leaves: the next
        // life must not unsubscribe what is wanted again.
        removals_.wasSubscribedAgain(filter);
        const SubscribeRequest::Topic topic{filter, std::clamp(wantedQoS, 0, kMQTTHighestQoS)};
        // Alone in its packet, so that an end of the connection on it accuses no other topic.
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
        // What held requests ask for in one pass is sent once too.
        const auto superseded = waiting_.supersedeHeld(requests(), request);
        outcome.superseded.insert(outcome.superseded.end(), superseded.begin(), superseded.end());
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

MQTTUnsubscribeOutcome OutgoingTraffic::unsubscribe(std::span<const std::string_view> topics) {
    MQTTUnsubscribeOutcome outcome;
    UnsubscribeRequest request;
    for (const std::string_view topic : topics) {
        if (connection_) {
            requests().noteUnsubscribed(topic);
            waiting_.dropParked(requests(), topic);
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
    outcome.packetId = connection_ ? add(std::move(request)) : std::uint16_t{0};
    removals_.wereAskedFor(filters, outcome.packetId != 0);
    return outcome;
}

std::uint16_t OutgoingTraffic::add(UnsubscribeRequest request) {
    const std::uint16_t packetId = engine().addUnsubscribe(std::move(request));
    if (packetId != 0) {
        writeOrHold(packetId);
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
    if (sendsAtMostOnce()) {
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
        waiting_.park(packetId);
    } else if (isHolding()) {
        waiting_.hold(packetId);
        goOn();
    } else {
        write(packetId, outcome);
    }
}

void OutgoingTraffic::writeOrHold(std::uint16_t packetId) {
    MQTTSubscribeOutcome nobodyAsks;
    writeOrHold(packetId, nobodyAsks);
}

void OutgoingTraffic::write(std::uint16_t packetId) {
    MQTTSubscribeOutcome nobodyAsks;
    write(packetId, nobodyAsks);
}

void OutgoingTraffic::write(std::uint16_t packetId, MQTTSubscribeOutcome& outcome) {
    if (requests().findSubscribe(packetId) == nullptr) {
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
            outcome.refused.push_back({filter, makeTooManyTopicsError(filter)});
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
    const auto packetId = waiting_.takeHeld();
    if (packetId) {
        write(*packetId);
    }
    return packetId.has_value();
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
    things.reserve(codes.size());
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const SubscribeRequest::Topic& topic = request.topics[i];
        things.push_back(SentThing::subscription(topic.filter));
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
    granted_.store();
    answersWereTaken(things);
}

void OutgoingTraffic::unsubscribeWasAnswered() {
    const auto& filters = engine().answeredUnsubscribe().filters;
    removals_.wereConfirmed(filters);
    std::vector<SentThing> things;
    things.reserve(filters.size());
    for (const std::string& filter : filters) {
        things.push_back(SentThing::unsubscription(filter));
    }
    answersWereTaken(things);
}

void OutgoingTraffic::answersWereTaken(std::span<const SentThing> things) {
    if (!suspects_.isEmpty()) {
        for (const SentThing& thing : things) {
            suspects_.didAnswer(thing);
        }
        waiting_.holdWhatIsAcquitted(requests(), suspects_);
    }
    if (countUnanswered() == 0) {
        everythingWasAnswered();
    }
    // The last answer may have ended the sending one by one: what waited goes out together.
    if (!isHolding() && (waiting_.isAnyHeld() || outbox_.countUnwritten() != 0)) {
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
    // Everything that may be sent has been answered: the row of ended connections is over.
    suspects_.didAnswerEverything();
    isOneAtATime_ = false;
}

// ---- What was set aside.

bool OutgoingTraffic::isSetAside(std::uint16_t packetId) const {
    const auto thing = suspects_.isEmpty() ? std::nullopt : thingOf(requests(), packetId);
    return thing && suspects_.isSetAside(*thing);
}

bool OutgoingTraffic::canTry(const SentThing& thing) const {
    return thing.kind == SentThing::Kind::Publication ? outbox_.contains(thing.packetId)
                                                      : waiting_.isParked(requests(), thing);
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
    // Otherwise it is written when the last answer that is owed has come.
    if (countUnanswered() == 0) {
        writeTried();
    }
}

void OutgoingTraffic::writeTried() {
    if (trying_->kind == SentThing::Kind::Publication) {
        write(outbox_.at(trying_->packetId));
    } else {
        write(waiting_.takeParked(requests(), *trying_));
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
