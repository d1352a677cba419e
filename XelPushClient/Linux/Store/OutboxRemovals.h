#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/SqliteStore.h"

namespace xel {

/// The rows of a home's outbox that are removed already, only not on the disk. They go with a later commit,
/// or by themselves: a second later on the store's run loop or, without one, when many have come together.
///
/// Owner: the session memory. Thread: as the memory's.
class OutboxRemovals final : public SqliteCommitRider, public std::enable_shared_from_this<OutboxRemovals> {
public:
    explicit OutboxRemovals(std::shared_ptr<SqliteStore> store) : store_(std::move(store)) {}

    /// With the store's access held, like `finish`, after which nothing is written any more.
    [[nodiscard]] Result<void> prepare();
    void finish() { removeRows_ = {}; }

    void add(std::int64_t row) { rows_.push_back(row); }
    /// Makes room, so that the next `add` throws nothing.
    void reserveOne() {
        if (rows_.size() == rows_.capacity()) {
            rows_.reserve(2 * rows_.size() + 1);
        }
    }
    /// Sees to it that what was added goes, sooner or later.
    void plan();
    /// Writes what is put off in a commit of its own.
    void write();

    /// Writes what is put off inside the caller's transaction, in which it may ride already: for a caller
    /// whose own rows must go later. `arrive` follows when it was committed.
    [[nodiscard]] int rideFirst();

    [[nodiscard]] bool wantsToRide() const override;
    [[nodiscard]] int ride() override;
    void arrive() override { rows_.clear(); }

private:
    std::shared_ptr<SqliteStore> store_;
    SqliteStatement removeRows_;
    std::vector<std::int64_t> rows_;
    bool isPlanned_ = false;
};

}  // namespace xel
