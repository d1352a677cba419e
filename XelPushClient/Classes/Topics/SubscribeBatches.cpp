#include "XelPushClient/Classes/Topics/SubscribeBatches.h"

#include <utility>

namespace xel {

SubscribeBatches::Ticket SubscribeBatches::takeTicket() {
    if (!isAnybodyWaiting()) {
        // Nobody holds an earlier ticket, so nobody will ask what has happened so far.
        fates_.clear();
    }
    Ticket ticket;
    ticket.number = now_;
    ticket.memoryHold = memoryHold_;
    return ticket;
}

void SubscribeBatches::wasWritten(std::uint16_t packetId, Batch batch) {
    unanswered_.insert_or_assign(packetId, std::move(batch));
}

std::optional<SubscribeBatches::Batch> SubscribeBatches::take(std::uint16_t packetId) {
    auto node = unanswered_.extract(packetId);
    return node ? std::optional(std::move(node.mapped())) : std::nullopt;
}

void SubscribeBatches::forgetSession() {
    unanswered_.clear();
    // The count goes on: work that waits still holds tickets of before.
    fates_.clear();
}

void SubscribeBatches::wasAnswered(const std::string& topic, const Ticket& askedAt, bool isStored) {
    if (!isAnybodyBeside(askedAt)) {
        return;
    }
    Fate& fate = fates_[topic];
    const Answer answer{++now_, askedAt.number};
    fate.reported = answer;
    if (isStored) {
        fate.stored = answer;
    }
}

void SubscribeBatches::wasUnsubscribed(const std::string& topic) {
    if (isAnybodyWaiting()) {
        fates_[topic].unsubscribedAt = ++now_;
    }
}

void SubscribeBatches::wasGivenUp(const std::string& topic) {
    if (isAnybodyWaiting()) {
        fates_[topic].givenUpAt = ++now_;
    }
}

bool SubscribeBatches::isReportedSince(const Ticket& ticket, const std::string& topic) const {
    const Fate* fate = fateOf(topic);
    return fate != nullptr && countsFor(ticket, fate->reported, fate->unsubscribedAt);
}

bool SubscribeBatches::isStoredSince(const Ticket& ticket, const std::string& topic) const {
    const Fate* fate = fateOf(topic);
    return fate != nullptr && countsFor(ticket, fate->stored, fate->unsubscribedAt);
}

bool SubscribeBatches::isUnsubscribedSince(const Ticket& ticket, const std::string& topic) const {
    const Fate* fate = fateOf(topic);
    return fate != nullptr && fate->unsubscribedAt > ticket.number;
}

std::shared_ptr<const TopicTable> SubscribeBatches::stillWanted(
    const std::shared_ptr<const TopicTable>& topics, const Ticket& ticket) const {
    std::shared_ptr<TopicTable> rest;
    for (const auto& [topic, fate] : fates_) {
        if (topics && fate.givenUpAt > ticket.number && topics->contains(topic)) {
            rest = rest ? rest : std::make_shared<TopicTable>(*topics);
            rest->remove(topic);
        }
    }
    return rest ? rest : topics;
}

const SubscribeBatches::Fate* SubscribeBatches::fateOf(const std::string& topic) const {
    const auto found = fates_.find(topic);
    return found != fates_.end() ? &found->second : nullptr;
}

bool SubscribeBatches::countsFor(const Ticket& ticket, const Answer& answer, std::uint64_t unsubscribedAt) {
    const bool isOfBeforeUnsubscribing = answer.askedAt < unsubscribedAt && unsubscribedAt <= ticket.number;
    return answer.at > ticket.number && !isOfBeforeUnsubscribing;
}

}  // namespace xel
