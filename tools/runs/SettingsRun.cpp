#include "tools/runs/SettingsRun.h"

#include <utility>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tools/output/Output.h"

namespace xel::tools {

SettingsRun::SettingsRun(SettingsOptions options, ServiceAccess access)
    : ClientRun(options.client, std::move(access)), options_(std::move(options)) {}

void SettingsRun::opened(Home& home) {
    defaults_ = home.defaults;
}

void SettingsRun::start() {
    if (options_.locationOnLaunch) {
        push().setEnableLocationOnLaunch(*options_.locationOnLaunch);
    }
    if (options_.channel.empty()) {
        print();
        end();
    } else {
        registerUser();
    }
}

// The change is sent to the backend without a word; saving the installation once more tells that it is there.
void SettingsRun::registered() {
    if (std::exchange(isChangeSent_, true)) {
        print();
        end();
    } else {
        push().updateNotificationSettings(options_.channel, options_.sound, options_.alert.value_or(true));
        push().registerDeviceToServer();
    }
}

void SettingsRun::print() {
    const bool isOnLaunch = push().enableLocationOnLaunch();
    printLine(choice().json, {{"setting", "locationOnLaunch"}, {"enabled", isOnLaunch}},
              std::string("location on launch: ") + (isOnLaunch ? "on" : "off"));
    const auto stored = defaults_->objectForKey(kNotificationSettingsKey);
    const Dictionary* channels = stored ? stored->asDictionary() : nullptr;
    if (channels == nullptr) {
        return;
    }
    for (const auto& [channel, value] : *channels) {
        printLine(choice().json, {{"setting", "notifications"}, {"channel", channel}, {"value", value}},
                  "notifications of " + channel + ": " + printJSON(value, JSONLayout::OneLine));
    }
}

}  // namespace xel::tools
