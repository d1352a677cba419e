#include "sandbox/SandboxProgram.h"

#include <csignal>
#include <string>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>

#include "sandbox/SandboxService.h"
#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {

void runSandboxUntilSignal(SandboxOptions options) {
    boost::asio::io_context loop(1);
    // Before anything starts: a signal during the start ends the service once it is up.
    boost::asio::signal_set signals(loop, SIGINT, SIGTERM);
    signals.async_wait([&loop](const boost::system::error_code&, int) { loop.stop(); });

    std::string failure;
    options.onFailure = [&loop, &failure, next = options.onFailure](const std::string& reason) {
        if (next) {
            next(reason);
        }
        boost::asio::post(loop, [&loop, &failure, reason] {
            failure = reason;
            loop.stop();
        });
    };
    SandboxService service(std::move(options));
    service.start();
    loop.run();
    service.stop();
    if (!failure.empty()) {
        throw SandboxError(failure);
    }
}

}  // namespace xel::sandbox
