#include "XelPushClient/Testing/InMemoryUserDefaults.h"

#include <utility>

namespace xel {

Result<std::shared_ptr<InMemoryUserDefaults>> InMemoryUserDefaults::open(std::shared_ptr<FakeDisk> disk,
                                                                         std::string store) {
    if (!disk->acquire(store)) {
        return makeError("InMemoryUserDefaults", 1, "the store \"" + store + "\" is owned already");
    }
    return std::shared_ptr<InMemoryUserDefaults>(new InMemoryUserDefaults(std::move(disk), std::move(store)));
}

InMemoryUserDefaults::InMemoryUserDefaults(std::shared_ptr<FakeDisk> disk, std::string store)
    : disk_(std::move(disk)), store_(std::move(store)), values_(disk_->contents(store_).settings) {}

InMemoryUserDefaults::~InMemoryUserDefaults() {
    disk_->release(store_);
}

std::optional<Value> InMemoryUserDefaults::objectForKey(std::string_view key) const {
    const std::lock_guard lock(mutex_);
    const Value* value = values_.find(key);
    return value == nullptr ? std::nullopt : std::optional<Value>(*value);
}

void InMemoryUserDefaults::setObject(std::string_view key, Value value) {
    const std::lock_guard lock(mutex_);
    changes_.insert_or_assign(std::string(key), value);
    values_.set(std::string(key), std::move(value));
}

void InMemoryUserDefaults::removeObject(std::string_view key) {
    const std::lock_guard lock(mutex_);
    changes_.insert_or_assign(std::string(key), std::nullopt);
    values_.remove(key);
}

bool InMemoryUserDefaults::commit(const Changes& changes) {
    std::string what = "settings";
    for (const auto& [key, value] : changes) {
        what += (value ? " " : " -") + key;
    }
    return disk_->commit(
        store_,
        [&](FakeDisk::Store& store) {
            for (const auto& [key, value] : changes) {
                if (value) {
                    store.settings.set(key, *value);
                } else {
                    store.settings.remove(key);
                }
            }
        },
        what);
}

bool InMemoryUserDefaults::synchronize() {
    const std::lock_guard lock(mutex_);
    if (changes_.empty()) {
        return true;
    }
    // What could not be stored goes with the next commit.
    if (!commit(changes_)) {
        return false;
    }
    changes_.clear();
    return true;
}

void InMemoryUserDefaults::synchronizeTurn(std::function<void(bool)> done) {
    if (!disk_->isHoldingTurnCommits()) {
        done(synchronize());
        return;
    }
    disk_->holdTurnCommit(
        life_.guarded([done = std::move(done)](InMemoryUserDefaults& self) { done(self.synchronize()); }));
}

bool InMemoryUserDefaults::hasUnstoredChanges() const {
    const std::lock_guard lock(mutex_);
    return !changes_.empty();
}

}  // namespace xel
