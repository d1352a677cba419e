#pragma once

#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Platform/NSUserDefaults.h"
#include "tools/runs/ClientRun.h"

namespace xel::tools {

struct SettingsOptions {
    ClientChoice client{};
    std::string channel{};  ///< whose notifications are set; empty: of none
    std::string sound = "default";
    std::optional<bool> alert{};
    std::optional<bool> locationOnLaunch{};
};

/// Shows the settings that a client keeps; a change of a channel's notifications is sent to the backend.
class SettingsRun final : public ClientRun {
public:
    SettingsRun(SettingsOptions options, ServiceAccess access);

private:
    void opened(Home& home) override;
    void start() override;
    void registered() override;
    [[nodiscard]] std::string awaited() const override { return "the backend's answer"; }
    void print();

    SettingsOptions options_;
    std::shared_ptr<NSUserDefaults> defaults_;
    bool isChangeSent_ = false;
};

}  // namespace xel::tools
