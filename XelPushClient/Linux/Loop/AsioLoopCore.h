#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>

#include "XelPushClient/Foundation/ProcessNumber.h"
#include "XelPushClient/Linux/Loop/AsioLoopTimers.h"
#include "XelPushClient/Linux/Loop/LoopBuffers.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Told once at the end of the pass in which it asked, after everything posted has run. Must not throw.
class PassEndObserver {
public:
    virtual ~PassEndObserver() = default;
    virtual void passDidEnd() noexcept = 0;
};

/// The works of an `AsioRunLoop`, shared with the I/O objects on it, which may linger longer than the loop.
///
/// A pass is one handler of the `io_context`: something that happened, then what it and others posted, then
/// the observers of the pass's end. So a whole turn, from the octets read to the answer written, costs one
/// wait for events. Thread: `post` and `requestStop` from any thread; the rest on the loop's thread.
class AsioLoopCore final : public std::enable_shared_from_this<AsioLoopCore>, private AsioLoopTimersOwner {
public:
    /// Blocks run in one pass at most, so that sockets and timers get their share of a loop that is busy with
    /// itself.
    static constexpr std::size_t kMostBlocksInPass = 512;

    /// Throws `boost::system::system_error` when the context cannot have what it waits by, for want of
    /// descriptors.
    [[nodiscard]] static std::shared_ptr<AsioLoopCore> make(boost::asio::io_context& context);
    /// For `make` alone.
    explicit AsioLoopCore(boost::asio::io_context& context);
    ~AsioLoopCore() override;
    AsioLoopCore(const AsioLoopCore&) = delete;
    AsioLoopCore& operator=(const AsioLoopCore&) = delete;

    void post(std::function<void()> block);
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay, std::function<void()> block);

    /// Runs the work and then what is posted, in one pass. For handlers of I/O objects. Inside a pass it only
    /// runs the work.
    template <class Work>
    void runThenDrain(Work&& work) {
        if (isInPass_) {
            std::forward<Work>(work)();
            return;
        }
        const Pass pass(*this);
        std::forward<Work>(work)();
        drain();
        endPass();
    }

    /// Has the observer told at the end of this pass, or of the next one when none is under way. On the
    /// loop's thread.
    void callAtEndOfPass(std::weak_ptr<PassEndObserver> observer);

    /// False in a child that fork(2) made, where the loop's epoll instance is still the parent's.
    [[nodiscard]] bool isOfThisProcess() const { return process_ == processNumber(); }
    /// Throws `std::logic_error` there.
    void checkProcess() const;
    [[nodiscard]] bool isCurrent() const {
        return owner_.load() == std::this_thread::get_id() && isOfThisProcess();
    }
    [[nodiscard]] bool isInPass() const { return isInPass_; }
    void becomeOwner() { owner_.store(std::this_thread::get_id()); }
    /// Throws `std::logic_error` while another thread is inside a pass.
    void takeOwnership();

    /// The pass under way runs no further block until `clearStop`.
    void requestStop() { isStopRequested_.store(true); }
    [[nodiscard]] bool clearStop() { return isStopRequested_.exchange(false); }

    /// When the next timer is due; none when none is scheduled. On the loop's thread.
    [[nodiscard]] std::optional<std::chrono::steady_clock::time_point> nextDeadline() {
        return timers_->nextDeadline();
    }

    /// Has the block called, from any thread, whenever the context gets something to run that its own
    /// descriptors do not tell of.
    void setWakeUp(std::function<void()> wakeUp);

    [[nodiscard]] LoopBuffers& buffers() { return buffers_; }

    /// Throws away everything posted and scheduled, and leaves the `io_context` alone from then on.
    void shutDown();

private:
    /// A pass under way. Meanwhile `post` asks the context for no other one, as this one takes what comes.
    /// So its end, which a block's exception may bring about, asks for one where something is left: that
    /// would otherwise stay until something else happens.
    class Pass {
    public:
        explicit Pass(AsioLoopCore& core);
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        ~Pass();

    private:
        AsioLoopCore& core_;
    };

    void drain();
    [[nodiscard]] bool takeIncoming();
    void endPass();
    void postPass();

    void alarmDidRing() override;
    void timerDidFire() override { drain(); }
    [[nodiscard]] bool mayFireAnother() const override {
        return !isStopRequested_.load(std::memory_order_relaxed);
    }

    const std::uint32_t process_ = processNumber();
    boost::asio::io_context& context_;
    std::atomic<std::thread::id> owner_;
    std::atomic<bool> isStopRequested_ = false;

    std::mutex mutex_;
    std::vector<std::function<void()>> incoming_;  // guarded by mutex_
    bool isPassPosted_ = false;                    // guarded by mutex_
    bool isShutDown_ = false;                      // guarded by mutex_
    bool isBusy_ = false;                          // guarded by mutex_; a pass is under way
    std::function<void()> wakeUp_;                 // guarded by mutex_

    bool isInPass_ = false;
    std::size_t blocksLeftInPass_ = 0;
    std::vector<std::function<void()>> batch_;
    std::size_t nextInBatch_ = 0;
    std::vector<std::weak_ptr<PassEndObserver>> passEndObservers_;
    std::vector<std::weak_ptr<PassEndObserver>> observersBeingTold_;

    LoopBuffers buffers_;
    std::shared_ptr<AsioLoopTimers> timers_;  // never null; it holds this weakly
};

}  // namespace xel
