#pragma once

#include <cstdint>
#include <string>

namespace xel {

/// The kinds of notification that the user allows a program: the bits of `UNNotificationOptions`, and every
/// other bit as long as one of them is left.
inline constexpr std::uint32_t kEveryNotificationType = 0xFFFFFFFF;

/// What the user's own settings say, the file "notifications" in
/// "$XDG_CONFIG_HOME/xelpush/<name>" or "~/.config/xelpush/<name>". It holds the words "badge", "sound" and
/// "alert" for what is allowed, or "off"; a line may end in a comment that begins with "#". Without the file,
/// or without a word of these in it, everything is allowed.
[[nodiscard]] std::uint32_t notificationTypesOfUser(const std::string& configFolder);

/// The same, of the file's text.
[[nodiscard]] std::uint32_t notificationTypesOfText(const std::string& text);

}  // namespace xel
