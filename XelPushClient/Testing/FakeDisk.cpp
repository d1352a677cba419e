#include "XelPushClient/Testing/FakeDisk.h"

#include <stdexcept>
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

bool FakeDisk::commit(std::string_view store, const std::function<void(Store&)>& change,
                      std::string_view what) {
    CommitHandler handler;
    {
        const std::lock_guard lock(mutex_);
        if (isProcessDead_) {
            return true;
        }
        if (isFailingCommits_ || isFull_) {
            return false;
        }
        if (killPoint_) {
            --killPoint_->writesLeft;
        }
        dieIf(FakeKillPoint::BeforeWrite, store);
        change(stores_[std::string(store)]);
        ++commitCount_;
        handler = commitHandler_;
    }
    if (handler) {
        handler(store, what);
    }
    const std::lock_guard lock(mutex_);
    dieIf(FakeKillPoint::AfterWrite, store);
    return true;
}

void FakeDisk::dieIf(FakeKillPoint point, std::string_view store) {
    if (killPoint_ && killPoint_->point == point && killPoint_->writesLeft == 0) {
        killPoint_.reset();
        isProcessDead_ = true;
        throw ProcessKilled{std::string(store)};
    }
}

void FakeDisk::setCommitHandler(CommitHandler handler) {
    const std::lock_guard lock(mutex_);
    commitHandler_ = std::move(handler);
}

void FakeDisk::setFull(bool isFull) {
    const std::lock_guard lock(mutex_);
    isFull_ = isFull;
}

void FakeDisk::killAt(FakeKillPoint point, std::size_t write) {
    if (write == 0) {
        throw std::invalid_argument("writes are counted from 1");
    }
    const std::lock_guard lock(mutex_);
    killPoint_ = KillPoint{point, write};
}

void FakeDisk::forgetKillPoint() {
    const std::lock_guard lock(mutex_);
    killPoint_.reset();
}

std::optional<FakeKillPoint> FakeDisk::killPoint() const {
    const std::lock_guard lock(mutex_);
    return killPoint_ ? std::optional(killPoint_->point) : std::nullopt;
}

bool FakeDisk::isProcessDead() const {
    const std::lock_guard lock(mutex_);
    return isProcessDead_;
}

void FakeDisk::killProcess() {
    const std::lock_guard lock(mutex_);
    isProcessDead_ = true;
}

void FakeDisk::processHasEnded() {
    // What the held commits hold is destroyed without the lock.
    std::vector<std::function<void()>> held;
    const std::lock_guard lock(mutex_);
    held.swap(heldTurnCommits_);
    isProcessDead_ = false;
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
