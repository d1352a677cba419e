#include "sandbox/distributor/DistributorProgram.h"

#include <csignal>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include "XelPushClient/Linux/Bus/DBusText.h"
#include "sandbox/distributor/Distributor.h"
#include "sandbox/distributor/DistributorBus.h"
#include "sandbox/distributor/PushServer.h"
#include "sandbox/relay/WallClock.h"
#include "sandbox/state/StateFolder.h"
#include "sandbox/store/Database.h"

namespace xel::sandbox {

namespace fs = std::filesystem;

namespace {

constexpr const char* kStoreFile = "distributor.db";

// The parts, in the order in which they depend on each other; one thread, that of the loop.
class RunningDistributor {
public:
    explicit RunningDistributor(const DistributorOptions& options)
        : log_(options.log),
          bus_(loop_, sessionBusAddress(),
               {[this](const Registration& asked) { return registerApplication(asked); },
                [this](const std::string& token) { distributor_.unregisterApplication(token); },
                [this](const std::string& service) { distributor_.serviceAppeared(service); },
                [this](const std::string& reason) {
                    failure_ = reason;
                    loop_.stop();
                }}),
          folder_(
              options.stateFolder.empty() ? defaultDistributorFolder() : fs::absolute(options.stateFolder),
              "distributor"),
          server_(loop_, log_, options.port.value_or(registrations_.port()),
                  [this](const PushRequest& request) { return answer(request); }) {}

    void runUntilSignal(const DistributorOptions& options) {
        // Before it is announced: a signal that follows the announcement ends the distributor in order.
        boost::asio::signal_set signals(loop_, SIGINT, SIGTERM);
        signals.async_wait([this](const boost::system::error_code&, int) { loop_.stop(); });
        bus_.start();
        distributor_.start(server_.port());
        log_.write("endpoints on http://127.0.0.1:" + std::to_string(server_.port()) + ", state in " +
                   folder_.path().string());
        if (options.onReady) {
            options.onReady(server_.port(), folder_.path());
        }
        loop_.run();
        if (!failure_.empty()) {
            throw SandboxError(failure_);
        }
        log_.write("stopped");
    }

private:
    // An answer is due at once, also for a store that fails.
    std::string registerApplication(const Registration& asked) {
        try {
            return distributor_.registerApplication(asked);
        } catch (const SandboxError& error) {
            log_.write(std::string("no registration: ") + error.what());
            return "INTERNAL_ERROR";
        }
    }

    PushResponse answer(const PushRequest& request) {
        return answerPushRequest(
            request,
            [this](const std::string& endpoint) { return registrations_.findEndpoint(endpoint).has_value(); },
            [this](const std::string& endpoint, const std::string& body, std::chrono::seconds timeToLive) {
                return distributor_.push(endpoint, body, timeToLive);
            });
    }

    boost::asio::io_context loop_{1};
    ProgressLog log_;
    DistributorBus bus_;
    StateFolder folder_;
    Database database_{folder_.file(kStoreFile)};
    RegistrationStore registrations_{database_};
    PushMessageStore messages_{database_};
    Distributor distributor_{registrations_, messages_, bus_, log_, millisecondsSince1970};
    PushServer server_;
    std::string failure_;
};

}  // namespace

fs::path defaultDistributorFolder() {
    return defaultStateFolder("xelpush-distributor");
}

void runDistributorUntilSignal(const DistributorOptions& options) {
    RunningDistributor(options).runUntilSignal(options);
}

}  // namespace xel::sandbox
