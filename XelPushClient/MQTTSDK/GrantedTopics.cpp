#include "XelPushClient/MQTTSDK/GrantedTopics.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {

GrantedTopics::GrantedTopics(SessionMemory& memory, std::string clientId)
    : memory_(memory), clientId_(std::move(clientId)) {
    read();
}

void GrantedTopics::load() {
    if (!isLoaded_) {
        read();
        setRestorationAwaited(isLoaded_ || isRestorationAwaited_);
    }
}

void GrantedTopics::read() {
    const auto table = memory_.loadGrantedTopics(clientId_);
    if (!table) {
        return;
    }
    isLoaded_ = true;
    for (const auto& [entry, qos] : table.value()) {
        const std::string_view topic =
            entry.starts_with(kMark) ? std::string_view(entry).substr(kMark.size()) : std::string_view(entry);
        if (!changedUnread_.contains(topic)) {
            take(entry, qos);
        }
    }
    changedUnread_.clear();
}

void GrantedTopics::noteChange(std::string_view topic) {
    isStored_ = false;
    if (!isLoaded_) {
        changedUnread_.emplace(topic);
    }
}

void GrantedTopics::take(std::string_view entry, int qos) {
    if (entry == kMark) {
        isRestorationAwaited_ = true;
    } else if (entry.starts_with(kMark)) {
        const std::string_view removed = entry.substr(kMark.size());
        // Valid is enough: what the broker granted can be named to it again, sendable or not.
        if (isValidTopicFilter(removed)) {
            removals_.emplace(removed);
        }
    } else if (isSendableTopicFilter(entry)) {
        topics_.set(entry, std::clamp(qos, 0, kMQTTHighestQoS));
    } else if (isValidTopicFilter(entry)) {
        unsendable_.emplace_back(entry);
        // Not in the table any more, so the next `store` takes it out of the memory too.
        isStored_ = false;
    }
}

bool GrantedTopics::wasGranted(std::string_view topic) const {
    return topics_.contains(topic) ||
           std::find(unsendable_.begin(), unsendable_.end(), topic) != unsendable_.end();
}

GrantedTopics::Answer GrantedTopics::takeAnswer(std::string_view topic, std::uint8_t code) {
    if (code != kMQTTSubscribeFailure) {
        grant(topic, std::min<int>(code, kMQTTHighestQoS));
        return Answer::Granted;
    }
    if (!topics_.contains(topic)) {
        return Answer::Refused;
    }
    forget(topic);
    return Answer::TakesGrantBack;
}

void GrantedTopics::grant(std::string_view topic, int qos) {
    if (topics_.qosOf(topic) != qos) {
        topics_.set(topic, qos);
        noteChange(topic);
    }
}

void GrantedTopics::forget(std::string_view topic) {
    if (topics_.contains(topic) || !isLoaded_) {
        topics_.remove(topic);
        noteChange(topic);
    }
}

void GrantedTopics::setRestorationAwaited(bool isAwaited) {
    if (std::exchange(isRestorationAwaited_, isAwaited) != isAwaited) {
        isStored_ = false;
    }
}

void GrantedTopics::beginRemoval(std::string_view topic) {
    forget(topic);
    if (removals_.emplace(topic).second) {
        noteChange(topic);
    }
}

void GrantedTopics::endRemoval(std::string_view topic) {
    if (const auto found = removals_.find(topic); found != removals_.end() || !isLoaded_) {
        if (found != removals_.end()) {
            removals_.erase(found);
        }
        noteChange(topic);
    }
}

void GrantedTopics::endAllRemovals() {
    if (!removals_.empty()) {
        removals_.clear();
        isStored_ = false;
    }
}

void GrantedTopics::store() {
    load();
    if (isStored_ || !isLoaded_) {
        return;
    }
    TopicTable table = topics_;
    if (isRestorationAwaited_ && !topics_.empty()) {
        table.set(kMark, 0);
    }
    for (const std::string& topic : removals_) {
        table.set(std::string(kMark) + topic, 0);
    }
    isStored_ = memory_.storeGrantedTopics(clientId_, table).isOk();
}

}  // namespace xel
