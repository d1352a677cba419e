#pragma once

#include <string_view>

namespace xel {

// The keys of the defaults store. Spellings are part of what earlier versions wrote and never change.
inline constexpr std::string_view kDeviceIdKey = "PushClientDeviceId";
inline constexpr std::string_view kUserIdKey = "userId";
inline constexpr std::string_view kClientVersionKey = "clientVersion";
inline constexpr std::string_view kEnableLocationOnLaunchKey = "enableLocationOnLanuch";
inline constexpr std::string_view kLocationOnLaunchDictionaryKey = "onLaunchDic";
/// Seconds since 1 January 2001, and metres: the tracking session.
inline constexpr std::string_view kTrackUserUntilKey = "trackUserUntil";
inline constexpr std::string_view kTrackUserMeterKey = "trackUserMeter";
inline constexpr std::string_view kMonitoredRegionsKey = "monitoredRegions";
inline constexpr std::string_view kEnableLogKey = "enableTavrinLogInDebuggingKEY";
inline constexpr std::string_view kLaunchCountKey = "AppLaunchCount";
inline constexpr std::string_view kLaunchTimeKey = "AppLaunchTime";
inline constexpr std::string_view kSubscribedTopicsKey = "subscribedTopics";
inline constexpr std::string_view kNotificationSettingsKey = "notificationSettings";
inline constexpr std::string_view kUserChannelsKey = "userChannels";
/// Written by earlier versions only; `reset` still removes it.
inline constexpr std::string_view kSubscribedUserChannelsKey = "subscribedUserChannels";
inline constexpr std::string_view kMessageIdsKey = "messageIds";

}  // namespace xel
