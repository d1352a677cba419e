#include "XelPushClient/Classes/Topics/ChannelStore.h"

#include <unordered_set>
#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Foundation/DictionaryReading.h"

namespace xel {
namespace {

Dictionary dictionaryFrom(const TopicTable& topics) {
    Dictionary dictionary;
    for (const auto& [topic, qos] : topics) {
        dictionary.set(topic, qos);
    }
    return dictionary;
}

TopicTable tableFrom(const Dictionary& dictionary) {
    TopicTable topics;
    for (const auto& [topic, qos] : dictionary) {
        // Whatever else stands there, a topic is kept, and asked for at the level that loses nothing.
        topics.set(topic, qos.integer().value_or(kAtLeastOnce) == kAtMostOnce ? kAtMostOnce : kAtLeastOnce);
    }
    return topics;
}

}  // namespace

ChannelStore::ChannelStore(ClientSettings& settings, NSUserDefaults& defaults, const PushTokenState& token,
                           const LogOutput& log, InstallationUpdateObserver& observer)
    : settings_(settings), defaults_(defaults), token_(token), log_(log), observer_(observer) {}

TopicIdentity ChannelStore::identity() {
    return {settings_.appId(), settings_.userId(), settings_.deviceId()};
}

void ChannelStore::loadWhenMissing() {
    if (!topics) {
        loadUserChannels();
    }
}

void ChannelStore::setTopic(std::string_view topic, int qos) {
    loadWhenMissing();
    if (!topics) {
        topics.emplace();
    }
    topics->set(topic, qos);
}

void ChannelStore::removeTopic(std::string_view topic) {
    keptForConnect_.remove(topic);
    loadWhenMissing();
    if (topics) {
        topics->remove(topic);
    }
}

void ChannelStore::giveUpTopics(std::span<const std::string_view> givenUp) {
    const std::unordered_set<std::string_view> gone(givenUp.begin(), givenUp.end());
    for (const std::string_view topic : gone) {
        keptForConnect_.remove(topic);
        if (topics) {
            topics->remove(topic);
        }
    }
    auto stored = defaults_.dictionaryForKey(kUserChannelsKey).value_or(Dictionary());
    const std::size_t storedBefore = stored.size();
    Dictionary kept;
    for (auto& [topic, qos] : stored.takeEntries()) {
        if (!gone.contains(topic)) {
            kept.set(std::move(topic), std::move(qos));
        }
    }
    if (kept.size() != storedBefore) {
        defaults_.setObject(kUserChannelsKey, std::move(kept));
        (void)defaults_.synchronize();
    }
}

void ChannelStore::loadForConnect() {
    loadUserChannels();
    for (const auto& [topic, qos] : keptForConnect_) {
        if (!topics) {
            topics.emplace();
        }
        if (!topics->contains(topic)) {
            topics->set(topic, qos);
        }
    }
}

void ChannelStore::forgetIdentity() {
    topics.reset();
    notificationSettings.reset();
    keptForConnect_.clear();
}

void ChannelStore::removeStoredIdentity() {
    for (const auto key : {kNotificationSettingsKey, kUserChannelsKey, kSubscribedUserChannelsKey}) {
        defaults_.removeObject(key);
    }
}

void ChannelStore::resetUserChannels() {
    defaults_.removeObject(kUserChannelsKey);
    (void)defaults_.synchronize();
}

void ChannelStore::storeUserChannels() {
    if (topics) {
        defaults_.setObject(kUserChannelsKey, dictionaryFrom(*topics));
    } else {
        defaults_.removeObject(kUserChannelsKey);
    }
    (void)defaults_.synchronize();
}

void ChannelStore::loadUserChannels() {
    const auto stored = defaults_.dictionaryForKey(kUserChannelsKey);
    const auto defaultTopic = brokerTopic(identity());
    if (stored) {
        topics = tableFrom(*stored);
    } else if (defaultTopic) {
        topics = TopicTable{{*defaultTopic, kAtLeastOnce}};
        storeUserChannels();
    } else {
        topics.reset();
    }
    loadChannelSettings();
}

void ChannelStore::loadChannelSettings() {
    if (auto stored = defaults_.dictionaryForKey(kNotificationSettingsKey)) {
        notificationSettings = std::move(*stored);
    }
}

std::optional<Dictionary> ChannelStore::notificationSettingsFor(std::string_view channel) const {
    if (notificationSettings) {
        return dictionaryUnder(*notificationSettings, channel);
    }
    // A host may ask after a restart, before anything has loaded them.
    const auto stored = defaults_.dictionaryForKey(kNotificationSettingsKey);
    return stored ? dictionaryUnder(*stored, channel) : std::nullopt;
}

void ChannelStore::updateNotificationSettings(const std::string& channel, const std::string& sound,
                                              bool alert) {
    if (!token_.deviceToken) {
        TVRLog(log_, "Device token is nil. please call %s method when tavrin was registered",
               "-[PushClientManager updateNotificationSettings:sound:alert:]");
        throw NullException("Device token is nil");
    }
    // The change would otherwise take the place of what is stored.
    if (!notificationSettings) {
        loadChannelSettings();
    }
    if (!notificationSettings) {
        notificationSettings.emplace();
    }
    notificationSettings->set(channel, Dictionary{{"sound", sound}, {"alert", alert}});
    defaults_.setObject(kNotificationSettingsKey, *notificationSettings);
    (void)defaults_.synchronize();
    observer_.installationUpdateWanted();
}

std::vector<std::string> ChannelStore::deviceSubscriptions() {
    return subscriptionsAs(getChannelFromTopic);
}

std::vector<std::string> ChannelStore::deviceSubscriptionsForInstallation() {
    return subscriptionsAs(getChannelFromTopicForInstallation);
}

std::vector<std::string> ChannelStore::subscriptionsAs(ChannelForm form) {
    // Hosts know these lists as what is stored. What a list that failed has left in the table goes by
    // this; `keepForConnect` brings it back.
    loadUserChannels();
    std::vector<std::string> channels;
    if (!topics) {
        return channels;
    }
    for (const auto& [topic, qos] : *topics) {
        if (auto channel = form(topic)) {
            channels.push_back(std::move(*channel));
        }
    }
    return channels;
}

}  // namespace xel
