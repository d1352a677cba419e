#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/signal_set.hpp>

#include "XelPushClient/Linux/AsioRunLoop.h"
#include "XelPushClient/XelPushClient.h"
#include "tools/ExitCode.h"
#include "tools/ListenOptions.h"
#include "tools/ListenReport.h"

namespace xel::tools {

/// One run of `xelpush listen`: a client of its own, from the registration to its orderly end.
///
/// Thread: the one that calls `run`.
class ListenRun {
public:
    ListenRun(ListenOptions options, ServiceAccess access);
    ~ListenRun();
    ListenRun(const ListenRun&) = delete;
    ListenRun& operator=(const ListenRun&) = delete;

    /// Returns after success; throws `CommandFailure` otherwise.
    void run();

private:
    class Listener;

    void start();
    void registrationEnded(bool isRegistered, const std::optional<NSError>& error);
    void connectionStateChanged();
    void connectionFailed(const std::string& cause);
    void arrived();
    void timeIsUp();
    void end(ExitCode code, std::string text = {});

    ListenOptions options_;
    ServiceAccess access_;
    std::shared_ptr<ListenReport> report_;
    std::shared_ptr<AsioRunLoop> runLoop_;
    boost::asio::signal_set signals_;
    std::shared_ptr<Listener> listener_;
    std::unique_ptr<PushClientManager> push_;
    bool wasConnected_ = false;
    std::string lastConnectionFailure_;
    std::size_t arrived_ = 0;
    bool isEnding_ = false;
    ExitCode code_ = ExitCode::Success;
    std::string text_;
};

}  // namespace xel::tools
