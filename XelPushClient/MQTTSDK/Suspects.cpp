#include "XelPushClient/MQTTSDK/Suspects.h"

#include <algorithm>

namespace xel {
namespace {

bool isOfOneKind(const SentThing& a, const SentThing& b) {
    // A broker that takes topic filters at all shows it by either request.
    return (a.kind == SentThing::Kind::Publication) == (b.kind == SentThing::Kind::Publication);
}

}  // namespace

bool Suspects::isSetAside(const SentThing& thing) const {
    return !setAside_.empty() && setAside_.contains(thing);
}

std::optional<SentThing> Suspects::connectionWasEnded(const std::optional<SentThing>& alone, TimePoint now) {
    if (const auto tried = alone ? setAside_.find(*alone) : setAside_.end(); tried != setAside_.end()) {
        SetAside& entry = tried->second;
        // A broker that took nothing else meanwhile may have
        // a full disk: that try says nothing of the thing.
        entry.failedTries += entry.othersWereAcknowledged ? 1 : 0;
        entry.othersWereAcknowledged = false;
        entry.wait = std::min(entry.wait * 2, longestRetry_);
        entry.dueAt = now + entry.wait;
        if (entry.failedTries < kTriesToGiveUp) {
            return std::nullopt;
        }
        setAside_.erase(tried);
        return alone;
    }
    // An end on something that was being tried is explained, and does not count here.
    ++endsInARow_;
    if (alone && lastAlone_ == alone) {
        ++endsOfLastAlone_;
    } else {
        lastAlone_ = alone;
        endsOfLastAlone_ = 1;
    }
    if (!alone || endsOfLastAlone_ < kEndsToSetAside) {
        return std::nullopt;
    }
    lastAlone_.reset();
    setAside_[*alone] = {firstRetry_, now + firstRetry_, 0, false};
    return alone;
}

void Suspects::didAnswer(const SentThing& thing) {
    forget(thing);
    for (auto& [other, entry] : setAside_) {
        entry.othersWereAcknowledged = entry.othersWereAcknowledged || isOfOneKind(other, thing);
    }
}

void Suspects::forget(const SentThing& thing) {
    setAside_.erase(thing);
    if (lastAlone_ == thing) {
        lastAlone_.reset();
    }
}

std::optional<Suspects::Try> Suspects::nextTry(const std::function<bool(const SentThing&)>& canTry) const {
    std::optional<Try> next;
    for (const auto& [thing, entry] : setAside_) {
        if ((!next || entry.dueAt < next->dueAt) && canTry(thing)) {
            next = Try{thing, entry.dueAt};
        }
    }
    return next;
}

}  // namespace xel
