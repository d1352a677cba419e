#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/signal_set.hpp>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Platform/Diagnostics.h"
#include "XelPushClient/Platform/Home.h"
#include "XelPushClient/XelPushClient.h"
#include "tools/options/ClientChoice.h"
#include "tools/output/Output.h"

namespace xel::tools {

/// One run of a client on the Linux platform, from opening its home to its orderly end. A command derives
/// from it and says what is done when.
///
/// Thread: the one that calls `run`; every operation below is called there.
class ClientRun {
public:
    ClientRun(ClientChoice choice, ServiceAccess access);
    virtual ~ClientRun();
    ClientRun(const ClientRun&) = delete;
    ClientRun& operator=(const ClientRun&) = delete;

    /// Returns after success; throws `CommandFailure` otherwise.
    void run();

protected:
    [[nodiscard]] const ClientChoice& choice() const { return choice_; }
    [[nodiscard]] PushClientManager& push() { return *push_; }

    /// Registers the user, which connects. To be called once, by `start`.
    void registerUser(const std::vector<std::string>& channels = {});
    /// Connects as whoever the home holds, without registering anew. To be called once, by `start`.
    void connectAgain();
    /// Ends the run, after the last acknowledgements and the goodbye have left. Only the first call counts.
    void end(ExitCode code = ExitCode::Success, std::string text = {});
    /// The same for a request to the backend that failed.
    void endWithRestFailure(const NSError& error);

    /// The home was opened, for a command that puts something between the client and it.
    virtual void opened(Home& /*home*/) {}
    /// The client has its credentials. Does the whole work, or begins it.
    virtual void start() = 0;
    virtual void registered() {}
    virtual void registrationFailed(const NSError& /*error*/) {}
    virtual void stateChanged() {}
    /// Connected for the first time.
    virtual void connected() {}
    /// What none of the client's callbacks tells. Called in the middle of its work: must not call it.
    virtual void recorded(const DiagnosticRecord& /*record*/) {}
    /// The time is up; unless told otherwise, the command could not connect or waited in vain.
    virtual void timeIsUp();
    /// What the command waits for once it is connected.
    [[nodiscard]] virtual std::string awaited() const { return "the outcome"; }

    /// Runs the work on the run's thread, later. From any thread.
    void post(std::function<void()> work);

    /// When it never connected: ends the run with the last reason, and says true.
    bool endUnlessConnected();

private:
    class Log;
    class Records;
    class Listener;

    void open();
    void registrationEnded(bool isRegistered, const std::optional<NSError>& error);
    void connectionStateChanged();
    void take(const DiagnosticRecord& record);
    void connectionFailed(const DiagnosticError& cause, bool isRefusal);

    ClientChoice choice_;
    ServiceAccess access_;
    std::shared_ptr<AsioRunLoop> runLoop_;
    boost::asio::signal_set signals_;
    std::shared_ptr<Listener> listener_;
    bool wasConnected_ = false;
    bool expectsConnection_ = false;
    std::string lastConnectionFailure_;
    bool isEnding_ = false;
    /// The last disconnect is under way: its end is the run's.
    bool isLeaving_ = false;
    ExitCode code_ = ExitCode::Success;
    std::string text_;
    // Last: what it records on its way out, by an exception too, reaches what is above.
    std::unique_ptr<PushClientManager> push_;
};

}  // namespace xel::tools
