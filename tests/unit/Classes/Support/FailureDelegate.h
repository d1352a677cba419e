#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "XelPushClient/Classes/Core/PushClientManagerDelegate.h"

namespace xel {

/// Keeps the errors of what failed in subscribing, unsubscribing and publishing.
class FailureDelegate final : public PushClientManagerDelegate {
public:
    explicit FailureDelegate(std::shared_ptr<std::vector<NSError>> errors) : errors_(std::move(errors)) {}

    void pushClientManagerDidFailInSubscribe(const NSError& error) override { errors_->push_back(error); }
    void pushClientManagerDidFailInUnsubscribe(const NSError& error) override { errors_->push_back(error); }
    void pushClientManagerDidFailInPublish(const NSError& error) override { errors_->push_back(error); }

private:
    std::shared_ptr<std::vector<NSError>> errors_;
};

}  // namespace xel
