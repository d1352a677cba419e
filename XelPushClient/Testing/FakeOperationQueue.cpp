#include "XelPushClient/Testing/FakeOperationQueue.h"

#include <exception>
#include <thread>
#include <utility>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {
namespace {

void runOnThreadOfItsOwn(const std::function<void()>& block) {
    std::exception_ptr failure;
    std::thread thread([&] {
        try {
            block();
        } catch (...) {
            failure = std::current_exception();
        }
    });
    thread.join();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

class FakeOperationQueue final : public NSOperationQueue {
public:
    FakeOperationQueue(std::shared_ptr<NSRunLoop> runLoop, std::string name, int most)
        : runLoop_(std::move(runLoop)), name_(std::move(name)), most_(most) {}

    [[nodiscard]] const std::string& name() const override { return name_; }
    [[nodiscard]] int maxConcurrentOperationCount() const override { return most_; }

    void addOperationWithBlock(std::function<void()> block) override {
        const std::lock_guard lock(pending_->mutex);
        pending_->blocks.push_back(std::move(block));
        runLoop_->post([weak = std::weak_ptr(pending_)] {
            if (const auto pending = weak.lock()) {
                runOnThreadOfItsOwn(pending->takeFirst());
            }
        });
    }

private:
    struct Pending {
        std::mutex mutex;
        std::deque<std::function<void()>> blocks;

        std::function<void()> takeFirst() {
            const std::lock_guard lock(mutex);
            auto block = std::move(blocks.front());
            blocks.pop_front();
            return block;
        }
    };

    std::shared_ptr<NSRunLoop> runLoop_;
    std::string name_;
    int most_;
    std::shared_ptr<Pending> pending_ = std::make_shared<Pending>();
};

}  // namespace

std::shared_ptr<NSOperationQueue> FakeOperationQueueFactory::makeOperationQueue(
    std::string name, int maxConcurrentOperationCount) {
    return std::make_shared<FakeOperationQueue>(runLoop_, std::move(name), maxConcurrentOperationCount);
}

}  // namespace xel
