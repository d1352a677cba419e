#include "XelPushClient/MQTTSDK/TopicRemovals.h"

#include <utility>

namespace xel {

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
    granted_.store();
}

void TopicRemovals::giveUp(const std::string& topic) {
    granted_.endRemoval(topic);
    granted_.store();
    dropWhatIsNotWanted();
}

std::vector<std::uint16_t> TopicRemovals::endAll() {
    std::vector<std::uint16_t> settled;
    for (const auto& [packetId, request] : std::exchange(lost_, {})) {
        packetIds_->release(packetId);
        settled.push_back(packetId);
    }
    granted_.endAllRemovals();
    granted_.store();
    return settled;
}

TopicRemovals::Due TopicRemovals::takeDue() {
    dropWhatIsNotWanted();
    Due due{std::exchange(lost_, {}), granted_.unconfirmedRemovals()};
    for (const std::string& topic : askedForOffline_) {
        // Their owner asks for these itself, under an identifier that it knows.
        due.others.erase(topic);
    }
    for (auto& [packetId, request] : due.lost) {
        request.place.reset();
        for (const std::string& topic : request.filters) {
            due.others.erase(topic);
        }
    }
    return due;
}

// A topic that was subscribed to again, or given up, is not to be removed any more.
void TopicRemovals::dropWhatIsNotWanted() {
    for (auto lost = lost_.begin(); lost != lost_.end();) {
        std::erase_if(lost->second.filters, [this](const std::string& topic) {
            return !granted_.unconfirmedRemovals().contains(topic);
        });
        if (lost->second.filters.empty()) {
            packetIds_->release(lost->first);
            lost = lost_.erase(lost);
        } else {
            ++lost;
        }
    }
}

}  // namespace xel
