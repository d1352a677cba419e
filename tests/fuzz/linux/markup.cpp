// A notification's texts, which come from the network, on their way to the desktop: they reach a server
// that reads markup as they are, and no control character, no path of a sound and no end of a line reaches
// any.
//
// Input: a digit for what the server can do and one for what the notification has; lines with the title,
// the subtitle, a file, a sound and a button; then the body.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Bus/DBusText.h"
#include "XelPushClient/Linux/Desktop/NotificationMarkup.h"
#include "XelPushClient/Linux/Desktop/NotificationPermission.h"
#include "XelPushClient/Linux/Desktop/NotifyCall.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

std::size_t charactersOf(std::string_view text) {
    std::size_t count = 0;
    for (; !text.empty(); ++count) {
        (void)takeFirstCharacter(text);
    }
    return count;
}

bool isFitForDBus(std::string_view text) {
    const auto isControl = [](char c) {
        return (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == '\x7F';
    };
    return isValidUTF8(text) && std::none_of(text.begin(), text.end(), isControl);
}

/// What a reader of markup makes of it.
std::string shown(std::string_view markup) {
    std::string text;
    while (!markup.empty()) {
        const auto entity =
            markup.front() == '&' ? markup.substr(0, markup.find(';') + 1) : markup.substr(0, 1);
        if (entity == "&amp;") {
            text += '&';
        } else if (entity == "&lt;") {
            text += '<';
        } else if (entity == "&gt;") {
            text += '>';
        } else if (entity == "&quot;") {
            text += '"';
        } else if (entity == "&#39;") {
            text += '\'';
        } else {
            require(entity.size() == 1 && entity.front() != '<' && entity.front() != '&',
                    "nothing is markup");
            text += entity;
        }
        markup.remove_prefix(entity.size());
    }
    return text;
}

bool isSubsequence(std::string_view part, std::string_view whole) {
    for (const char octet : whole) {
        part.remove_prefix(!part.empty() && part.front() == octet ? 1 : 0);
    }
    return part.empty();
}

void checkTexts(std::string_view body) {
    require(shown(escapedForMarkup(body)) == body, "a text is shown as it is");
    const std::string plain = withoutMarkup(body);
    require(isSubsequence(plain, body), "tags are left out, and nothing is put in");
    require(body.find('<') != std::string_view::npos || plain == body, "a text without tags stays");
    for (const std::size_t most : {std::size_t{0}, std::size_t{1}, std::size_t{10}, std::size_t{1000}}) {
        const std::string cut = textForDBus(body, most);
        require(isFitForDBus(cut) && charactersOf(cut) <= most + 1,
                "a text is fit for D-Bus, and as long as asked");
    }
    const std::string whole = textForDBus(body);
    require(textForDBus(whole) == whole, "a text that is fit stays");
    require(!isFitForDBus(body) || whole.size() <= body.size(), "nothing is put in");
    const std::uint32_t types = notificationTypesOfText(std::string(body));
    require(types == 0 || (types & ~7U) == ~7U, "other kinds go with the last");
}

void checkCall(const DesktopNotification& notification, const ServerCapabilities& server) {
    const NotifyCall call = notifyCall(notification, {"Shop", "org.example.Shop"}, server);
    require(isFitForDBus(call.summary) && !call.summary.empty() && charactersOf(call.summary) <= 1001,
            "a notification has a title");
    require(isFitForDBus(call.body) && call.body.size() <= 400'000, "a body is fit and bounded");
    require(call.actions.size() == (server.actions ? 2 + 2 * notification.actions.size() : 0U),
            "a button has its key");
    for (std::size_t i = 0; i + 1 < call.actions.size(); i += 2) {
        require(isFitForDBus(call.actions[i + 1]), "a button's text is fit");
        require(actionIdentifierOfKey(notification.actions, call.actions[i]).has_value(), "a key comes back");
    }
    if (const auto picture = call.hints.find("image-path"); picture != call.hints.end()) {
        const auto url = picture->second.get<std::string>();
        require(url.starts_with("file:///") &&
                    std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c < '\x7F'; }),
                "a picture is a file");
    }
    if (const auto sound = call.hints.find("sound-name"); sound != call.hints.end()) {
        require(sound->second.get<std::string>().find('/') == std::string::npos, "a sound is no path");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::size_t can = input.below(8);
    const ServerCapabilities server{(can & 1U) != 0, (can & 2U) != 0, (can & 4U) != 0};
    DesktopNotification notification;
    notification.hasSound = input.flag();
    notification.title = input.line();
    notification.subtitle = input.line();
    notification.imageFile = input.line();
    if (!notification.imageFile.empty()) {
        notification.imageFile.insert(0, "/folder/");
    }
    notification.soundName = input.line();
    notification.actions = {{"open", input.line(), 0}};
    notification.body = std::string(input.rest());
    checkTexts(notification.body);
    checkCall(notification, server);
    return 0;
}
