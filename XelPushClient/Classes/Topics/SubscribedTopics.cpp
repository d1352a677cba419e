#include "XelPushClient/Classes/Topics/SubscribedTopics.h"

#include <iterator>
#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"

namespace xel {

std::vector<std::string> SubscribedTopics::load() const {
    std::vector<std::string> topics;
    auto stored = defaults_.arrayForKey(kSubscribedTopicsKey).value_or(Array());
    topics.reserve(stored.size());
    for (auto& topic : stored) {
        if (auto* text = topic.asString()) {
            topics.push_back(std::move(*text));
        }
    }
    return topics;
}

void SubscribedTopics::store(std::vector<std::string> topics) {
    defaults_.setObject(kSubscribedTopicsKey, Array(std::make_move_iterator(topics.begin()),
                                                    std::make_move_iterator(topics.end())));
    (void)defaults_.synchronize();
}

void SubscribedTopics::removeTopicFromUserDefault(std::string_view topic) {
    auto topics = load();
    std::erase(topics, topic);
    store(std::move(topics));
}

void SubscribedTopics::removeStoredIdentity() {
    defaults_.removeObject(kSubscribedTopicsKey);
}

}  // namespace xel
