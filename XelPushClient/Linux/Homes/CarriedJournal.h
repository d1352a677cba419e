#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Linux/Process/BackgroundThread.h"
#include "XelPushClient/Linux/Store/StoreDatabase.h"
#include "XelPushClient/Linux/Store/StoreJournal.h"

namespace xel {

/// A store's journal with the database into which it is carried over, run by run, on a background thread.
///
/// Thread: one, but where something else is said.
class CarriedJournal {
public:
    /// Told what goes wrong behind the caller's back, from any thread.
    using Report = std::function<void(const NSError&)>;

    CarriedJournal(std::string base, Report report);
    CarriedJournal(const CarriedJournal&) = delete;
    CarriedJournal& operator=(const CarriedJournal&) = delete;
    /// Carries everything over and removes the journal; what cannot be stays for the next opening.
    ~CarriedJournal();

    /// Opens the database at "<base>.db", which exists, carries over what the journal beside it holds, and
    /// begins a run. Errors are `StoreErrorCode`s; after a Damaged one of the database it may be called
    /// again.
    [[nodiscard]] Result<void> open();

    /// Appends the record. Waits where the background thread lags far behind.
    [[nodiscard]] Result<void> append(JournalRecord& record);
    /// The run that the last record went into.
    [[nodiscard]] std::uint64_t run() const { return journal_.run(); }

    /// Where everything is that was appended and is not in the database, for `sync`.
    struct Extent {
        std::size_t file = 0;
        bool isInBothFiles = false;

        friend bool operator==(const Extent&, const Extent&) = default;
    };
    [[nodiscard]] Extent extent();
    /// Whether what was appended there is on the disk. Where that fails the run is to end: what is appended
    /// next goes into the other file, and this one is carried over. Thread: any.
    [[nodiscard]] bool sync(const Extent& extent);

    /// Works with the database, into which everything up to that run was carried over. Waits for the disk
    /// when it was not yet.
    template <class Work>
    [[nodiscard]] auto withDatabase(std::uint64_t run, Work&& work)
        -> decltype(work(std::declval<StoreDatabase&>())) {
        if (auto carried = carryOverTo(run); !carried) {
            return carried.error();
        }
        const std::lock_guard lock(databaseMutex_);
        return std::forward<Work>(work)(database_);
    }

private:
    struct Run {
        std::uint64_t number = 0;
        std::string path;
    };

    [[nodiscard]] Result<void> carryFoundOver();
    [[nodiscard]] Result<void> nameStore(const std::vector<StoreJournal::Found>& found);
    [[nodiscard]] Result<void> carryOver(const JournalImage& image, const std::string& path);
    [[nodiscard]] Result<void> carryOver(const Run& run);
    [[nodiscard]] Result<void> carryOverTo(std::uint64_t run);
    [[nodiscard]] Result<void> beginNextRun();
    void endRun();
    void planCarryingOver(const Run& run);
    void forgetCarriedRun();
    void waitForCarrying();

    const std::string base_;
    const Report report_;
    StoreJournal journal_;

    std::mutex databaseMutex_;
    StoreDatabase database_;  // guarded by it once `open` is done

    /// The run that is in the other file and not in the database yet.
    std::optional<Run> former_;
    /// Until then one that failed is not tried again.
    std::chrono::steady_clock::time_point nextAttemptAt_{};

    std::mutex carryingMutex_;
    std::condition_variable wasCarried_;
    bool isCarrying_ = false;  // guarded by carryingMutex_, like the next
    std::uint64_t carriedRun_ = 0;

    // Last: its thread uses what is above and is gone before that is.
    SerialWorker worker_{"xel-store"};
};

}  // namespace xel
