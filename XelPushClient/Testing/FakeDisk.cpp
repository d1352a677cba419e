#include "XelPushClient/Testing/FakeDisk.h"

#include <utility>

namespace xel {

void FakeDisk::setFailingCommits(bool isFailing) {
    const std::lock_guard lock(mutex_);
    isFailingCommits_ = isFailing;
}

bool FakeDisk::isFailingCommits() const {
    const std::lock_guard lock(mutex_);
    return isFailingCommits_;
}

void FakeDisk::setHoldingTurnCommits(bool isHolding) {
    const std::lock_guard lock(mutex_);
    isHoldingTurnCommits_ = isHolding;
}

bool FakeDisk::isHoldingTurnCommits() const {
    const std::lock_guard lock(mutex_);
    return isHoldingTurnCommits_;
}

void FakeDisk::holdTurnCommit(std::function<void()> commit) {
    const std::lock_guard lock(mutex_);
    heldTurnCommits_.push_back(std::move(commit));
}

void FakeDisk::answerHeldTurnCommits() {
    std::vector<std::function<void()>> commits;
    {
        const std::lock_guard lock(mutex_);
        commits.swap(heldTurnCommits_);
    }
    // Without the lock: what is answered may commit again.
    for (const auto& commit : commits) {
        commit();
    }
}

std::size_t FakeDisk::heldTurnCommitCount() const {
    const std::lock_guard lock(mutex_);
    return heldTurnCommits_.size();
}

std::size_t FakeDisk::commitCount() const {
    const std::lock_guard lock(mutex_);
    return commitCount_;
}

bool FakeDisk::commit(std::string_view store, const std::function<void(Store&)>& change) {
    const std::lock_guard lock(mutex_);
    if (isFailingCommits_) {
        return false;
    }
    change(stores_[std::string(store)]);
    ++commitCount_;
    return true;
}

FakeDisk::Store FakeDisk::contents(std::string_view store) const {
    const std::lock_guard lock(mutex_);
    const auto at = stores_.find(store);
    return at == stores_.end() ? Store{} : at->second;
}

bool FakeDisk::acquire(std::string_view store) {
    const std::lock_guard lock(mutex_);
    return owned_.emplace(store).second;
}

void FakeDisk::release(std::string_view store) {
    const std::lock_guard lock(mutex_);
    const auto at = owned_.find(store);
    if (at != owned_.end()) {
        owned_.erase(at);
    }
}

}  // namespace xel
