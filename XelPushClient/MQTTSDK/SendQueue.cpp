#include "XelPushClient/MQTTSDK/SendQueue.h"

#include <algorithm>
#include <string>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTErrors.h"

namespace xel {

SendQueue::SendQueue(std::shared_ptr<MQTTConnection> connection, Outbox& outbox, Suspects& suspects)
    : connection_(std::move(connection)),
      outbox_(outbox),
      suspects_(suspects),
      isOneAtATime_(suspects.callForOneAtATime()) {}

std::size_t SendQueue::countUnanswered() const {
    return outbox_.countUnanswered() + engine().countUnansweredRequests();
}

std::optional<SentThing> SendQueue::onlyUnanswered() const {
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

// ---- What is to be sent.

void SendQueue::sendOneByOne(SubscribePurpose purpose, std::vector<SubscribeRequest::Topic> topics,
                             MQTTSubscribeOutcome& outcome) {
    if (isHolding() && purpose == SubscribePurpose::Batch) {
        // What held requests ask for in one pass is sent once too.
        const auto superseded = waiting_.supersedeHeld(requests(), topics);
        outcome.superseded.insert(outcome.superseded.end(), superseded.begin(), superseded.end());
    }
    for (SubscribeRequest::Topic& topic : topics) {
        SubscribeRequest request{purpose, {}};
        request.topics.push_back(std::move(topic));
        send(std::move(request), outcome);
    }
}

void SendQueue::send(SubscribeRequest request, MQTTSubscribeOutcome& outcome) {
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

void SendQueue::sendUnsubscribe(std::uint16_t packetId) {
    MQTTSubscribeOutcome nobodyAsks;
    writeOrHold(packetId, nobodyAsks);
}

void SendQueue::send(Outbox::Publication& publication) {
    if (isHolding()) {
        goOn();
    } else {
        write(publication);
    }
}

void SendQueue::sendAtMostOnce(std::string_view topic, std::string_view data, bool retain) {
    engine().publishAtMostOnce(topic, data, retain);
    connection_->flushSoon();
}

void SendQueue::goOn() {
    if (!isHolding()) {
        writeAllHeld();
    } else if (!trying_ && countUnanswered() == 0) {
        static_cast<void>(writeNextHeld());
    }
}

void SendQueue::dropParked(SentThing::Kind kind, std::string_view topic) {
    waiting_.dropParked(requests(), kind, topic);
}

// ---- Writing.

void SendQueue::writeOrHold(std::uint16_t packetId, MQTTSubscribeOutcome& outcome) {
    if (isSetAside(packetId)) {
        waiting_.park(packetId);
    } else if (isHolding()) {
        waiting_.hold(packetId);
        goOn();
    } else {
        write(packetId, outcome);
    }
}

void SendQueue::write(std::uint16_t packetId) {
    MQTTSubscribeOutcome nobodyAsks;
    write(packetId, nobodyAsks);
}

void SendQueue::write(std::uint16_t packetId, MQTTSubscribeOutcome& outcome) {
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

void SendQueue::write(Outbox::Publication& publication) {
    outbox_.write(publication, engine());
    connection_->flushSoon();
}

void SendQueue::writeAllHeld() {
    while (writeNextHeld()) {}
}

// The next thing in its turn: requests before publications.
bool SendQueue::writeNextHeld() {
    return writeHeldRequest() || writeNextPublication();
}

bool SendQueue::writeHeldRequest() {
    const auto packetId = waiting_.takeHeld();
    if (packetId) {
        write(*packetId);
    }
    return packetId.has_value();
}

bool SendQueue::writeNextPublication() {
    Outbox::Publication* const next = outbox_.firstUnwritten([this](const Outbox::Publication& publication) {
        return suspects_.isSetAside(SentThing::publication(publication.packetId));
    });
    if (next != nullptr) {
        write(*next);
    }
    return next != nullptr;
}

// ---- Answers.

void SendQueue::answersWereTaken(std::span<const SentThing> things) {
    if (looksAtAnswers()) {
        for (const SentThing& thing : things) {
            suspects_.didAnswer(thing);
        }
        waiting_.holdWhatIsAcquitted(requests(), suspects_);
    }
    if (countUnanswered() == 0) {
        everythingWasAnswered();
    }
    // The last answer may have ended the sending one by one: what waited goes out together.
    if (!isHolding()) {
        writeAllHeld();
    }
}

void SendQueue::everythingWasAnswered() {
    if (trying_) {
        // It waited for this; meanwhile its owner may have asked for the contrary.
        if (suspects_.isSetAside(*trying_) && canTry(*trying_)) {
            writeTried();
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

bool SendQueue::isSetAside(std::uint16_t packetId) const {
    const auto thing = suspects_.isEmpty() ? std::nullopt : thingOf(requests(), packetId);
    return thing && suspects_.isSetAside(*thing);
}

bool SendQueue::canTry(const SentThing& thing) const {
    return thing.kind == SentThing::Kind::Publication ? outbox_.contains(thing.packetId)
                                                      : waiting_.isParked(requests(), thing);
}

std::optional<Suspects::Try> SendQueue::nextThingToTry() const {
    const bool othersHaveTheirTurn = isOneAtATime_ && countUnanswered() != 0;
    if (trying_ || othersHaveTheirTurn || suspects_.isEmpty()) {
        return std::nullopt;
    }
    return suspects_.nextTry([this](const SentThing& thing) { return canTry(thing); });
}

std::optional<SendQueue::TimePoint> SendQueue::nextTry() const {
    const auto next = nextThingToTry();
    return next ? std::optional(next->dueAt) : std::nullopt;
}

void SendQueue::tryAgain(TimePoint now) {
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

void SendQueue::writeTried() {
    if (trying_->kind == SentThing::Kind::Publication) {
        write(outbox_.at(trying_->packetId));
    } else {
        write(waiting_.takeParked(requests(), *trying_));
    }
}

}  // namespace xel
