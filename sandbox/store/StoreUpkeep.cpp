#include "sandbox/store/StoreUpkeep.h"

#include <chrono>
#include <string>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/store/EventStore.h"

namespace xel::sandbox {
namespace {

constexpr std::chrono::seconds kPeriod{5};

}  // namespace

StoreUpkeep::StoreUpkeep(boost::asio::io_context& loop, EventStore& events, ProgressLog& log)
    : timer_(loop), events_(events), log_(log) {
    waitForNext();
}

void StoreUpkeep::finish() {
    timer_.cancel();
    carryLogOver();
}

void StoreUpkeep::waitForNext() {
    timer_.expires_after(kPeriod);
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            carryLogOver();
            waitForNext();
        }
    });
}

void StoreUpkeep::carryLogOver() {
    try {
        events_.carryLogOver();
    } catch (const SandboxError& error) {
        log_.write(std::string("the log of the events stays where it is: ") + error.what());
    }
}

}  // namespace xel::sandbox
