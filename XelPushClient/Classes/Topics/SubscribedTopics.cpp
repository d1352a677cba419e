#include "XelPushClient/Classes/Topics/SubscribedTopics.h"

#include <iterator>
#include <unordered_set>
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
    removeTopicsFromUserDefault({&topic, 1});
}

void SubscribedTopics::removeTopicsFromUserDefault(std::span<const std::string_view> removed) {
    const std::unordered_set<std::string_view> gone(removed.begin(), removed.end());
    auto topics = load();
    std::erase_if(topics, [&](const std::string& topic) { return gone.contains(topic); });
    store(std::move(topics));
}

void SubscribedTopics::removeStoredIdentity() {
    defaults_.removeObject(kSubscribedTopicsKey);
}

}  // namespace xel
