#pragma once

#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/PushTokenState.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// Thrown by `updateNotificationSettings` when there is no push token yet. `name()` is "NullException".
class NullException : public std::logic_error {
public:
    explicit NullException(const std::string& reason) : std::logic_error(reason) {}
    [[nodiscard]] static std::string_view name() { return "NullException"; }
    [[nodiscard]] std::string reason() const { return what(); }
};

/// Hears that the installation record at the backend no longer matches.
class InstallationUpdateObserver {
public:
    virtual ~InstallationUpdateObserver() = default;
    virtual void installationUpdateWanted() = 0;
};

/// The table of topics that the client wants and the host's notification preferences, both kept across
/// launches.
///
/// Owner: the manager. Thread: the manager's run loop. Does not talk to the broker.
class ChannelStore {
public:
    ChannelStore(ClientSettings& settings, NSUserDefaults& defaults, const PushTokenState& token,
                 const LogOutput& log, InstallationUpdateObserver& observer);

    /// Every topic wanted, with its quality of service; missing until one was loaded or set.
    std::optional<TopicTable> topics;
    /// Preferences by channel, exactly as the host named it; missing until some were loaded or set.
    std::optional<Dictionary> notificationSettings;

    /// Sets or removes one topic of the wanted ones. Without a table the stored one is loaded first: a change
    /// that is stored afterwards must not lose what was stored before.
    void setTopic(std::string_view topic, int qos);
    void removeTopic(std::string_view topic);
    /// Takes topics out of the table and of the stored one, leaving what else is stored as it is.
    void giveUpTopics(std::span<const std::string_view> givenUp);

    /// A list accepted the topic before it failed, so that nothing was stored or sent for it: the next
    /// connect asks for it, unless it is removed before.
    void keepForConnect(std::string_view topic, int qos) { keptForConnect_.set(topic, qos); }
    /// `loadUserChannels`, and what was kept for a connect.
    void loadForConnect();
    /// Forgets what belonged to the user, in memory only.
    void forgetIdentity();
    /// Removes it from the defaults. Does not store that.
    void removeStoredIdentity();

    void resetUserChannels();
    void storeUserChannels();
    /// Replaces the table by the stored one; a registered user without one starts with the default private
    /// topic.
    void loadUserChannels();
    void loadChannelSettings();

    /// The preference for a channel: of those held, or of the stored ones while none are.
    [[nodiscard]] std::optional<Dictionary> notificationSettingsFor(std::string_view channel) const;
    /// Stores the preference and updates the installation. Throws `NullException`, storing nothing, before a
    /// push token has arrived.
    void updateNotificationSettings(const std::string& channel, const std::string& sound, bool alert);

    /// The stored table as channels: in the application's form, and in the installation record's.
    [[nodiscard]] std::vector<std::string> deviceSubscriptions();
    [[nodiscard]] std::vector<std::string> deviceSubscriptionsForInstallation();

    [[nodiscard]] TopicIdentity identity();

private:
    using ChannelForm = std::optional<std::string> (*)(std::string_view topic);
    [[nodiscard]] std::vector<std::string> subscriptionsAs(ChannelForm form);
    void loadWhenMissing();

    ClientSettings& settings_;
    NSUserDefaults& defaults_;
    const PushTokenState& token_;
    const LogOutput& log_;
    InstallationUpdateObserver& observer_;
    TopicTable keptForConnect_;
};

}  // namespace xel
