#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// Which topics the broker has granted at quality of service 1, as it is kept across launches.
///
/// Owner: the manager. Thread: the manager's run loop. A topic may be there twice: each answer appends.
class SubscribedTopics {
public:
    explicit SubscribedTopics(NSUserDefaults& defaults) : defaults_(defaults) {}

    [[nodiscard]] std::vector<std::string> load() const;
    void store(std::vector<std::string> topics);
    /// Store the list also when no topic was there.
    void removeTopicFromUserDefault(std::string_view topic);
    void removeTopicsFromUserDefault(std::span<const std::string_view> removed);
    /// Removes the list from the defaults. Does not store that.
    void removeStoredIdentity();

private:
    NSUserDefaults& defaults_;
};

}  // namespace xel
