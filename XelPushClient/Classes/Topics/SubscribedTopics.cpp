#include "XelPushClient/Classes/Topics/SubscribedTopics.h"

#include "XelPushClient/Classes/Core/PersistedKeys.h"

namespace xel {

std::vector<std::string> SubscribedTopics::load() const {
    std::vector<std::string> topics;
    for (const auto& topic : defaults_.arrayForKey(kSubscribedTopicsKey).value_or(Array())) {
        if (const auto* text = topic.asString()) {
            topics.push_back(*text);
        }
    }
    return topics;
}

void SubscribedTopics::store(const std::vector<std::string>& topics) {
    defaults_.setObject(kSubscribedTopicsKey, Array(topics.begin(), topics.end()));
    (void)defaults_.synchronize();
}

void SubscribedTopics::removeTopicFromUserDefault(std::string_view topic) {
    auto topics = load();
    std::erase(topics, topic);
    store(topics);
}

void SubscribedTopics::removeStoredIdentity() {
    defaults_.removeObject(kSubscribedTopicsKey);
}

}  // namespace xel
