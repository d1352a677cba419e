#pragma once

#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/PushTokenState.h"
#include "XelPushClient/Classes/Device/DeviceDescription.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"
#include "XelPushClient/LoopBack/LBInstallation.h"

namespace xel {

/// Describes this installation to the backend as it stands at the moment of the call.
///
/// Owner: the manager. Thread: the manager's run loop. Keeps nothing but what the next save says of its
/// launch.
class InstallationRecord final : public InstallationUpdateObserver {
public:
    InstallationRecord(ClientSettings& settings, ChannelStore& channels, const DeviceDescription& device,
                       const PushTokenState& token);

    /// Saves the record: a new one when no device id is known, else an update.
    void save(LBInstallation::Saved success, const LBInstallation::Failure& failure);

    /// Saves the record when a push token is there; nobody hears of the outcome.
    void installationUpdateWanted() override;

    /// With NO, the next save tells the backend ("applicationLaunch": false) that the process runs without a
    /// launch by the user, so that the backend does not count one. With YES, the next save says nothing of
    /// it, as every save does that follows.
    void setApplicationLaunch(bool isByUser) { isLaunchByUser_ = isByUser; }

    /// Removes the record of a device id.
    void remove(const std::string& deviceId, LBInstallation::Removed success,
                const LBInstallation::Failure& failure);

private:
    [[nodiscard]] LBInstallationFields fields();

    ClientSettings& settings_;
    ChannelStore& channels_;
    const DeviceDescription& device_;
    const PushTokenState& token_;
    bool isLaunchByUser_ = true;
};

}  // namespace xel
