#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include <boost/asio/io_context.hpp>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

class AsioLoopCore;
class LoopDescriptor;

/// A run loop on Boost.Asio: on an `io_context` of its own, or on the host's.
///
/// The host runs its own context on one thread, not necessarily the one that made the loop and its clients,
/// and keeps it running with a work guard while it has clients. `run` and `stop` then run and stop the host's
/// context, and what a block throws leaves the context's own `run`.
///
/// The loop must outlive everything that works on it; destroying it inside one of its own blocks ends the
/// process. That can also happen to a loop that a machine made on the host's context, when a block drops the
/// machine's last reference: keep `Machine::runLoop`. Thread: as the port says.
class AsioRunLoop final : public NSRunLoop {
public:
    /// Throws `boost::system::system_error` when no descriptors are left for it, or no memory to watch its
    /// timers.
    AsioRunLoop();
    /// Likewise for want of descriptors. The context outlives the loop.
    explicit AsioRunLoop(boost::asio::io_context& hostContext);
    ~AsioRunLoop() override;
    AsioRunLoop(const AsioRunLoop&) = delete;
    AsioRunLoop& operator=(const AsioRunLoop&) = delete;

    void post(std::function<void()> block) override;
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override;

    /// True on the thread that ran the loop last, at first the one that made it.
    [[nodiscard]] bool isCurrent() const override;

    /// Makes the calling thread the loop's own. `run`, `step` and every pass on a host's context do so by
    /// themselves; call it on a thread that uses the loop's clients before any of these, for instance before
    /// it runs the host's context, or when the thread that ran the loop has ended. Throws `std::logic_error`
    /// while another thread is inside one of the loop's blocks.
    void takeOwnership();

    /// Throws `std::logic_error` when it is called inside one of the loop's blocks.
    void run() override;
    void stop() override;

    /// For handlers of I/O objects on the context: runs the work and then everything posted, in the same
    /// handler, so that what the work posts costs no further wait for events. On the loop's thread.
    void runThenDrain(const std::function<void()>& work);

    // For a host whose own loop waits for descriptors (GLib, Qt, poll): instead of `run` it waits until the
    // descriptor is readable or the deadline has come, and calls `step`. All on the loop's thread.

    /// Readable whenever `step` has something to do; level-triggered, and the loop's own: it is neither read
    /// nor closed. Made on first use. Throws `std::runtime_error` when the system does not show it, which
    /// takes /proc.
    [[nodiscard]] int fileDescriptor();
    /// When the next timer is due; none without timers. The descriptor covers timers too: this is for hosts
    /// that compute how long they sleep.
    [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> nextDeadline();
    /// Runs what is due, for a bounded time, and never waits. Throws what a block throws, and
    /// `std::logic_error` when it is called inside one of the loop's blocks. `stop` ends the step under
    /// way; the next one goes on.
    void step();

    [[nodiscard]] boost::asio::io_context& ioContext() { return context_; }
    [[nodiscard]] const std::shared_ptr<AsioLoopCore>& core() { return core_; }

private:
    std::shared_ptr<AsioLoopCore> core_;
    // Destroyed before the core: handlers that are never run may still hold things that post.
    std::unique_ptr<boost::asio::io_context> ownContext_;
    boost::asio::io_context& context_;
    std::unique_ptr<LoopDescriptor> descriptor_;
    /// Inside `run` or `step`: the context's frames are on the stack, also between two passes.
    bool isRunning_ = false;
};

}  // namespace xel
