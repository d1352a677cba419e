#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

namespace xel::sandbox {

class EventStore;
class ProgressLog;

/// Carries the log of the event store over from time to time, on the loop's thread, so that the broker's
/// plugin, which writes it, never waits for the disk.
class StoreUpkeep {
public:
    /// Everything given outlives it; the loop is not run any more when it is destroyed.
    StoreUpkeep(boost::asio::io_context& loop, EventStore& events, ProgressLog& log);

    /// The last time. To be called when neither the loop nor the writer runs any more.
    void finish();

private:
    void waitForNext();
    void carryLogOver();

    boost::asio::steady_timer timer_;
    EventStore& events_;
    ProgressLog& log_;
};

}  // namespace xel::sandbox
