#include "XelPushClient/Linux/Desktop/NotifyCall.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Desktop/NotificationMarkup.h"

namespace xel {

namespace {

constexpr const char* kDefaultKey = "default";
/// The name under which a desktop's sound theme has what a message sounds like.
constexpr const char* kMessageSound = "message-new-instant";
constexpr unsigned char kNormalUrgency = 1;
/// A message may hold a megabyte of text, and it is the desktop's own process that would have to lay it out.
constexpr std::size_t kLongestLine = 1'000;
constexpr std::size_t kLongestBody = 10'000;

std::string lineForDBus(std::string_view text) {
    return textForDBus(text, kLongestLine);
}

/// Films and sounds may be attached too; no server shows them, and some would show a broken picture.
bool isFilmOrSound(const std::string& file) {
    constexpr std::array<std::string_view, 17> kExtensions{".mp4", ".m4v",  ".mov", ".webm", ".mkv", ".avi",
                                                           ".3gp", ".mpg",  ".mp3", ".m4a",  ".aac", ".ogg",
                                                           ".oga", ".opus", ".wav", ".flac", ".caf"};
    const auto dot = file.rfind('.');
    const std::string extension = dot == std::string::npos ? std::string() : lowerCase(file.substr(dot));
    return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

/// RFC 8089. The slashes stay.
std::string fileURL(const std::string& path) {
    std::string url = "file://";
    for (const auto part : splitString(path, "/")) {
        url += url.ends_with("//") && part.empty() ? "" : "/" + encodeUrlString(part);
    }
    return url;
}

std::string bodyOf(const DesktopNotification& notification, const ServerCapabilities& server) {
    const auto text = [&](const std::string& clean) {
        return server.bodyMarkup ? escapedForMarkup(clean) : withoutMarkup(clean);
    };
    std::string body = text(textForDBus(notification.body, kLongestBody));
    if (notification.subtitle.empty()) {
        return body;
    }
    const std::string subtitle = text(lineForDBus(notification.subtitle));
    const std::string firstLine = server.bodyMarkup ? "<b>" + subtitle + "</b>" : subtitle;
    return notification.body.empty() ? firstLine : firstLine + "\n" + body;
}

void addSound(std::map<std::string, sdbus::Variant>& hints, const DesktopNotification& notification,
              const ServerCapabilities& server) {
    if (!notification.hasSound) {
        hints["suppress-sound"] = sdbus::Variant(true);
    } else if (server.sound) {
        // A name of the sound theme, never a path: the name comes from the network.
        const std::string name = lineForDBus(notification.soundName);
        const bool isName = !name.empty() && name.find('/') == std::string::npos;
        hints["sound-name"] = sdbus::Variant(isName ? name : std::string(kMessageSound));
    }
}

}  // namespace

ServerCapabilities serverCapabilities(const std::vector<std::string>& names) {
    const auto has = [&](std::string_view name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    return {has("body-markup"), has("actions"), has("sound")};
}

NotifyCall notifyCall(const DesktopNotification& notification, const DesktopHost& host,
                      const ServerCapabilities& server) {
    NotifyCall call;
    call.summary = lineForDBus(notification.title);
    if (call.summary.empty()) {
        call.summary = lineForDBus(host.applicationName);  // a server may ask for one
    }
    call.body = bodyOf(notification, server);
    if (server.actions) {
        // What a click on the notification itself invokes. It has no button, so its text is never shown.
        call.actions = {kDefaultKey, ""};
        for (std::size_t i = 0; i < notification.actions.size(); ++i) {
            call.actions.push_back(std::to_string(i));
            call.actions.push_back(lineForDBus(notification.actions[i].title));
        }
    }
    call.hints["urgency"] = sdbus::Variant(kNormalUrgency);
    if (!host.desktopId.empty()) {
        call.hints["desktop-entry"] = sdbus::Variant(lineForDBus(host.desktopId));
    }
    if (!notification.imageFile.empty() && !isFilmOrSound(notification.imageFile)) {
        call.hints["image-path"] = sdbus::Variant(fileURL(notification.imageFile));
    }
    addSound(call.hints, notification, server);
    return call;
}

std::optional<std::string> actionIdentifierOfKey(const std::vector<UNNotificationAction>& actions,
                                                 const std::string& key) {
    if (key == kDefaultKey) {
        return std::string(UNNotificationDefaultActionIdentifier);
    }
    std::size_t place = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), place);
    if (error != std::errc() || end != key.data() + key.size() || place >= actions.size()) {
        return std::nullopt;
    }
    return actions[place].identifier;
}

}  // namespace xel
