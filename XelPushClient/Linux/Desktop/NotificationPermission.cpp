#include "XelPushClient/Linux/Desktop/NotificationPermission.h"

#include <fstream>
#include <map>
#include <optional>
#include <sstream>

#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

std::uint32_t notificationTypesOfText(const std::string& text) {
    static const std::map<std::string, std::uint32_t> kinds{{"off", 0},
                                                            {"badge", UNNotificationOptionBadge},
                                                            {"sound", UNNotificationOptionSound},
                                                            {"alert", UNNotificationOptionAlert}};
    constexpr std::uint32_t kNamed =
        UNNotificationOptionBadge | UNNotificationOptionSound | UNNotificationOptionAlert;
    std::optional<std::uint32_t> allowed;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        for (std::string word; words >> word;) {
            if (const auto kind = kinds.find(word); kind != kinds.end()) {
                allowed = allowed.value_or(0) | kind->second;
            }
        }
    }
    if (!allowed) {
        return kEveryNotificationType;
    }
    return *allowed == 0 ? 0 : (kEveryNotificationType & ~kNamed) | *allowed;
}

std::uint32_t notificationTypesOfUser(const std::string& configFolder) {
    std::ostringstream text;
    text << std::ifstream(configFolder + "/notifications").rdbuf();
    return notificationTypesOfText(text.str());
}

}  // namespace xel
