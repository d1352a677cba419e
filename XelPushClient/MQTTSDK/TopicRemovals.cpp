#include "XelPushClient/MQTTSDK/TopicRemovals.h"

#include <algorithm>
#include <span>
#include <utility>

#include "XelPushClient/MQTTSDK/SendQueue.h"

namespace xel {
namespace {

UntoldOutcome makeSettledOutcome(std::uint16_t packetId) {
    return {UntoldOutcome::Kind::UnsubscriptionSettled, {}, {}, {}, packetId};
}

// So that the topic on which the broker ends connections stands alone, and accuses no other one.
bool leavesTopicByTopic(std::span<const std::string> topics, const SendQueue& queue) {
    return topics.size() > 1 && std::any_of(topics.begin(), topics.end(), [&](const std::string& topic) {
               return queue.leavesAlone(SentThing::unsubscription(topic));
           });
}

}  // namespace

std::uint16_t TopicRemovals::send(UnsubscribeRequest request, SendQueue& queue) {
    const std::uint16_t packetId = queue.engine().addUnsubscribe(std::move(request));
    if (packetId != 0) {
        sendOrSplit(packetId, queue);
    }
    return packetId;
}

void TopicRemovals::sendOrSplit(std::uint16_t packetId, SendQueue& queue) {
    const std::vector<std::string> topics = queue.requests().findUnsubscribe(packetId)->filters;
    if (!leavesTopicByTopic(topics, queue)) {
        queue.sendUnsubscribe(packetId);
        return;
    }
    split_.push_back(packetId);
    sendForNobody(topics, queue);
}

void TopicRemovals::sendForNobody(const std::vector<std::string>& topics, SendQueue& queue) {
    if (!leavesTopicByTopic(topics, queue)) {
        send(UnsubscribeRequest{topics, false}, queue);
        return;
    }
    for (const std::string& topic : topics) {
        send(UnsubscribeRequest{{topic}, false}, queue);
    }
}

void TopicRemovals::wereAskedFor(const std::vector<std::string>& topics, bool haveRequest) {
    for (const std::string& topic : topics) {
        if (haveRequest) {
            askedForOffline_.erase(topic);
        } else {
            // In this life its owner asks again once connected;
            // after a kill only the memory knows of it.
            askedForOffline_.insert(topic);
        }
    }
}

void TopicRemovals::wasSubscribedAgain(std::string_view topic) {
    granted_.endRemoval(topic);
    if (const auto asked = askedForOffline_.find(topic); asked != askedForOffline_.end()) {
        askedForOffline_.erase(asked);
    }
}

void TopicRemovals::wereConfirmed(const std::vector<std::string>& topics) {
    for (const std::string& topic : topics) {
        granted_.endRemoval(topic);
    }
    isConfirmedStored_ = false;
}

void TopicRemovals::storeConfirmed() {
    if (!std::exchange(isConfirmedStored_, true)) {
        granted_.store();
    }
}

void TopicRemovals::giveUp(const std::string& topic) {
    granted_.endRemoval(topic);
    granted_.store();
    dropWhatIsNotWanted();
}

void TopicRemovals::settleWhatWasSplit(PendingRequests& requests, std::deque<UntoldOutcome>& untold) {
    std::erase_if(split_, [&](std::uint16_t packetId) {
        if (isOutstanding(*requests.findUnsubscribe(packetId))) {
            return false;
        }
        untold.push_back(makeSettledOutcome(packetId));
        static_cast<void>(requests.takeUnsubscribe(packetId));
        return true;
    });
}

void TopicRemovals::keepUnanswered(std::map<std::uint16_t, UnsubscribeRequest> unanswered) {
    std::erase_if(unanswered, [this](const auto& pending) {
        if (pending.second.isAwaitedByOwner) {
            return false;
        }
        packetIds_->release(pending.first);
        return true;
    });
    lost_.merge(unanswered);
}

void TopicRemovals::endAll(std::deque<UntoldOutcome>& untold) {
    while (!lost_.empty()) {
        const std::uint16_t packetId = lost_.begin()->first;
        untold.push_back(makeSettledOutcome(packetId));
        packetIds_->release(packetId);
        lost_.erase(lost_.begin());
    }
    granted_.endAllRemovals();
    granted_.store();
}

void TopicRemovals::sendDue(SendQueue& queue) {
    dropWhatIsNotWanted();
    const Topics others = dueForNobody();
    // Under the identifiers that they had: their owner knows the answer by these.
    for (auto& [packetId, request] : std::exchange(lost_, {})) {
        request.place.reset();
        queue.engine().addUnsubscribe(packetId, std::move(request));
        sendOrSplit(packetId, queue);
    }
    if (!others.empty()) {
        sendForNobody({others.begin(), others.end()}, queue);
    }
}

TopicRemovals::Topics TopicRemovals::dueForNobody() const {
    Topics topics = granted_.unconfirmedRemovals();
    for (const std::string& topic : askedForOffline_) {
        // Their owner asks for these itself, under an identifier that it knows.
        topics.erase(topic);
    }
    for (const auto& [packetId, request] : lost_) {
        for (const std::string& topic : request.filters) {
            topics.erase(topic);
        }
    }
    return topics;
}

// A topic that was subscribed to again, or given up, is not to be removed any more.
void TopicRemovals::dropWhatIsNotWanted() {
    for (auto lost = lost_.begin(); lost != lost_.end();) {
        if (isOutstanding(lost->second)) {
            ++lost;
        } else {
            packetIds_->release(lost->first);
            lost = lost_.erase(lost);
        }
    }
}

// Leaves of the request what is still to be removed. False when nothing is.
bool TopicRemovals::isOutstanding(UnsubscribeRequest& request) const {
    std::erase_if(request.filters, [this](const std::string& topic) {
        return !granted_.unconfirmedRemovals().contains(topic);
    });
    return !request.filters.empty();
}

}  // namespace xel
