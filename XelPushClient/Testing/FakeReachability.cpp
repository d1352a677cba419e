#include "XelPushClient/Testing/FakeReachability.h"

#include <utility>

namespace xel {

struct FakeReachabilityFactory::Links {
    std::shared_ptr<NSRunLoop> runLoop;
    bool isReachable = true;
    bool isNotifierUnavailable = false;
    PushClientServerReachabilityNetworkType type = PushClientServerReachabilityWifiNetworkType;
};

class FakeReachabilityFactory::Monitor final : public PushClientServerReachability,
                                               public std::enable_shared_from_this<Monitor> {
public:
    explicit Monitor(std::shared_ptr<Links> links) : links_(std::move(links)) {}

    [[nodiscard]] bool isReachable() const override { return links_->isReachable; }
    [[nodiscard]] PushClientServerReachabilityNetworkType currentReachabilityStatus() const override {
        return links_->type;
    }
    void setReachabilityBlock(Block block) override { block_ = std::move(block); }
    bool startNotifier() override {
        isStarted_ = !links_->isNotifierUnavailable;
        return isStarted_;
    }
    void stopNotifier() override { isStarted_ = false; }

    [[nodiscard]] bool isStarted() const { return isStarted_; }

    void tell() {
        links_->runLoop->post([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (self && self->isStarted_ && self->block_) {
                // A copy, because the block may set another in its place.
                const auto block = self->block_;
                block(*self);
            }
        });
    }

private:
    std::shared_ptr<Links> links_;
    Block block_;
    bool isStarted_ = false;
};

FakeReachabilityFactory::FakeReachabilityFactory(std::shared_ptr<NSRunLoop> runLoop)
    : links_(std::make_shared<Links>()) {
    links_->runLoop = std::move(runLoop);
}

std::shared_ptr<PushClientServerReachability> FakeReachabilityFactory::reachabilityForInternetConnection() {
    std::erase_if(monitors_, [](const auto& known) { return known.expired(); });
    auto monitor = std::make_shared<Monitor>(links_);
    monitors_.push_back(monitor);
    return monitor;
}

PushClientServerReachabilityNetworkType FakeReachabilityFactory::getConnectionType() {
    return links_->isReachable ? links_->type : PushClientServerReachabilityNoNetworkFoundType;
}

void FakeReachabilityFactory::setNetwork(bool isReachable, PushClientServerReachabilityNetworkType type) {
    links_->isReachable = isReachable;
    links_->type = type;
    for (const auto& weak : monitors_) {
        if (const auto monitor = weak.lock(); monitor && monitor->isStarted()) {
            monitor->tell();
        }
    }
}

void FakeReachabilityFactory::setNotifierUnavailable(bool isUnavailable) {
    links_->isNotifierUnavailable = isUnavailable;
}

std::size_t FakeReachabilityFactory::startedCount() const {
    std::size_t count = 0;
    for (const auto& weak : monitors_) {
        const auto monitor = weak.lock();
        count += monitor && monitor->isStarted() ? 1U : 0U;
    }
    return count;
}

}  // namespace xel
