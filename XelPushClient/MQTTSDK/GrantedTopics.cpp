#include "XelPushClient/MQTTSDK/GrantedTopics.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {

GrantedTopics::GrantedTopics(SessionMemory& memory, std::string clientId)
    : memory_(memory), clientId_(std::move(clientId)) {
    for (const auto& [topic, qos] : memory_.loadGrantedTopics(clientId_)) {
        if (topic == kRestorationMark) {
            isRestorationAwaited_ = true;
        } else if (isValidTopicFilter(topic)) {
            topics_.set(topic, std::clamp(qos, 0, kMQTTHighestQoS));
        }
    }
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

void GrantedTopics::store() {
    if (isStored_) {
        return;
    }
    TopicTable marked;
    if (isRestorationAwaited_ && !topics_.empty()) {
        marked = topics_;
        marked.set(kRestorationMark, 0);
    }
    isStored_ = memory_.storeGrantedTopics(clientId_, marked.empty() ? topics_ : marked).isOk();
}

}  // namespace xel
