#include <poll.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/contract/Loop/NSRunLoopContract.h"

namespace xel::contract {
namespace {

class OwnContextSubject {
public:
    NSRunLoop& loop() { return loop_; }

private:
    AsioRunLoop loop_;
};

class HostContextSubject {
public:
    NSRunLoop& loop() { return loop_; }

private:
    boost::asio::io_context context_;
    AsioRunLoop loop_{context_};
};

/// A host with a loop of its own: it waits for the descriptor, and steps.
class PollingHost final : public NSRunLoop {
public:
    void post(std::function<void()> block) override { loop_.post(std::move(block)); }
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override {
        return loop_.scheduleTimer(delay, std::move(block));
    }
    [[nodiscard]] bool isCurrent() const override { return loop_.isCurrent(); }
    void stop() override {
        isStopRequested_ = true;
        loop_.stop();
        loop_.post([] {});
    }
    void run() override {
        // Entered inside a block, the step says that this is wrong.
        if (isInStep_) {
            loop_.step();
        }
        while (!isStopRequested_.exchange(false)) {
            pollfd waiting{loop_.fileDescriptor(), POLLIN, 0};
            ASSERT_GT(::poll(&waiting, 1, kPatienceMs), 0) << "the descriptor told of nothing";
            struct InStep {
                explicit InStep(bool& flag) : flag_(flag) { flag_ = true; }
                ~InStep() { flag_ = false; }
                InStep(const InStep&) = delete;
                InStep& operator=(const InStep&) = delete;
                bool& flag_;
            };
            const InStep mark(isInStep_);
            loop_.step();
        }
    }

private:
    static constexpr int kPatienceMs = 20'000;

    AsioRunLoop loop_;
    std::atomic<bool> isStopRequested_ = false;
    bool isInStep_ = false;
};

class PollingHostSubject {
public:
    NSRunLoop& loop() { return loop_; }

private:
    PollingHost loop_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Asio, NSRunLoopContract, OwnContextSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(AsioOnTheHostsContext, NSRunLoopContract, HostContextSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(AsioSteppedFromOutside, NSRunLoopContract, PollingHostSubject);

}  // namespace xel::contract
