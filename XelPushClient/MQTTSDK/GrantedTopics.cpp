#include "XelPushClient/MQTTSDK/GrantedTopics.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {

GrantedTopics::GrantedTopics(SessionMemory& memory, std::string clientId)
    : memory_(memory), clientId_(std::move(clientId)) {
    for (const auto& [entry, qos] : memory_.loadGrantedTopics(clientId_)) {
        load(entry, qos);
    }
}

void GrantedTopics::load(std::string_view entry, int qos) {
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
    const auto known = std::find_if(topics_.begin(), topics_.end(),
                                    [&](const TopicTable::Entry& entry) { return entry.first == topic; });
    if (known == topics_.end() || known->second != qos) {
        topics_.set(topic, qos);
        isStored_ = false;
    }
}

void GrantedTopics::forget(std::string_view topic) {
    if (topics_.contains(topic)) {
        topics_.remove(topic);
        isStored_ = false;
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
        isStored_ = false;
    }
}

void GrantedTopics::endRemoval(std::string_view topic) {
    if (const auto found = removals_.find(topic); found != removals_.end()) {
        removals_.erase(found);
        isStored_ = false;
    }
}

void GrantedTopics::endAllRemovals() {
    if (!removals_.empty()) {
        removals_.clear();
        isStored_ = false;
    }
}

void GrantedTopics::store() {
    if (isStored_) {
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
