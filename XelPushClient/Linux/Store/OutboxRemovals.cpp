#include "XelPushClient/Linux/Store/OutboxRemovals.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

#include <sqlite3.h>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

namespace {

/// Fewer do not join a commit: they would make it dearer than they save.
constexpr std::size_t kRemovalsWorthRiding = 32;
/// Without a run loop nobody else comes for them.
constexpr std::size_t kMostRemovalsPutOff = 512;
constexpr std::chrono::milliseconds kLongestPutOff{1000};

}  // namespace

Result<void> OutboxRemovals::prepare() {
    const int code =
        removeRows_.prepare(store_->connection(), "DELETE FROM outbox WHERE seq BETWEEN ?1 AND ?2");
    return code == SQLITE_OK ? Result<void>() : store_->errorFor(code);
}

void OutboxRemovals::plan() {
    const auto& runLoop = store_->runLoop();
    if (!runLoop) {
        if (rows_.size() >= kMostRemovalsPutOff) {
            write();
        }
        return;
    }
    if (rows_.empty() || isPlanned_) {
        return;
    }
    runLoop->scheduleTimer(kLongestPutOff, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->isPlanned_ = false;
            self->write();
        }
    });
    isPlanned_ = true;
}

void OutboxRemovals::write() {
    if (rows_.empty()) {
        return;
    }
    const auto written = store_->commit(false, [this] { return rideFirst(); });
    if (written) {
        arrive();
    } else if (store_->runLoop()) {
        plan();
    }
    // Without a run loop whoever puts the next one off tries again.
}

int OutboxRemovals::rideFirst() {
    return wantsToRide() ? SQLITE_OK : ride();
}

bool OutboxRemovals::wantsToRide() const {
    return rows_.size() >= kRemovalsWorthRiding;
}

// What was appended together is acknowledged together, mostly: one statement removes a run of rows.
int OutboxRemovals::ride() {
    std::sort(rows_.begin(), rows_.end());
    for (std::size_t first = 0; first < rows_.size();) {
        std::size_t last = first;
        while (last + 1 < rows_.size() && rows_[last + 1] == rows_[last] + 1) {
            ++last;
        }
        removeRows_.bind(1, rows_[first]);
        removeRows_.bind(2, rows_[last]);
        if (const int code = removeRows_.run(); code != SQLITE_OK) {
            return code;
        }
        first = last + 1;
    }
    return SQLITE_OK;
}

}  // namespace xel
