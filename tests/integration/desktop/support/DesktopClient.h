#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace xel::test {

/// A host that notes what the user does with its notifications.
class AnsweredHost : public PushClientManagerDelegate {
public:
    void userNotificationCenterDidReceiveNotificationResponse(
        UNUserNotificationCenter& /*center*/, const UNNotificationResponse& response,
        const std::function<void()>& completion) override {
        responses.push_back(response);
        completion();
    }
    std::vector<UNNotificationResponse> responses;
};

/// A whole client of a shop on the desktop of a session bus, its state below a folder.
class DesktopClient {
public:
    static LinuxOptions options(const std::string& folder, const std::string& sessionBus,
                                std::shared_ptr<AsioRunLoop> loop) {
        LinuxOptions options;
        options.name = "desktop-test";
        options.applicationName = "Shop";
        options.stateFolder = folder + "/state";
        options.documentsFolder = folder + "/documents";
        options.cacheFolder = folder + "/cache";
        options.sessionBus = sessionBus;
        options.systemBus = "";
        options.runLoop = std::move(loop);
        return options;
    }

    /// Throws when the home cannot be opened. The host hears of everything.
    DesktopClient(const LinuxOptions& options, const std::shared_ptr<AnsweredHost>& host)
        : machine_(makeLinuxMachine(options)), manager_(machine_, openedHome(options, machine_)) {
        manager_.addDelegate(host);
        manager_.registerForAPNsToken();
    }

    Machine& machine() { return machine_; }
    PushClientManager& manager() { return manager_; }

private:
    static Home openedHome(const LinuxOptions& options, const Machine& machine) {
        auto home = openLinuxHome(options, machine);
        if (!home) {
            throw std::runtime_error(home.error().localizedDescription());
        }
        return std::move(home).value();
    }

    Machine machine_;
    PushClientManager manager_;
};

}  // namespace xel::test
