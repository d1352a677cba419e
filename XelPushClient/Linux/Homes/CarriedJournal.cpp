#include "XelPushClient/Linux/Homes/CarriedJournal.h"

#include <exception>
#include <random>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFold.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Linux/Store/StoreRenewal.h"

namespace xel {
namespace {

/// Runs beyond this wait until the background thread has come so far.
constexpr std::uint64_t kLongestRun = 4 * StoreJournal::kRunLength;
/// A carrying over that failed is tried again so much later.
constexpr std::chrono::seconds kBetweenCarryings{1};

}  // namespace

CarriedJournal::CarriedJournal(std::string base, Report report)
    : base_(std::move(base)), report_(std::move(report)), journal_(base_) {}

CarriedJournal::~CarriedJournal() {
    if (run() == 0) {
        return;  // it was never opened
    }
    try {
        if (carryOverTo(run())) {
            journal_.remove();
        }
    } catch (const std::exception&) {
        return;  // no memory for it: it stays for the next opening
    }
}

Result<void> CarriedJournal::open() {
    const std::string path = base_ + ".db";
    auto opened = database_.open(path);
    if (opened && database_.isOld()) {
        const auto renewed = renewStore(path);
        opened = renewed ? database_.open(path) : renewed;
    }
    if (!opened) {
        return opened;
    }
    if (auto carried = carryFoundOver(); !carried) {
        return carried;
    }
    // A run counts only in homes that do not have it: the next one must be behind all of them.
    if (const std::uint64_t last = database_.lastRunOfAHome(); last > database_.lastRun()) {
        if (auto caughtUp = database_.bringIn({}, last); !caughtUp) {
            return caughtUp;
        }
    }
    carriedRun_ = database_.lastRun();
    return journal_.begin(database_.store(), carriedRun_ + 1);
}

Result<void> CarriedJournal::carryFoundOver() {
    auto found = journal_.findBehind(database_.store(), database_.lastRun());
    if (!found) {
        return found.error();
    }
    if (auto named = nameStore(found.value()); !named) {
        return named;
    }
    for (const auto& [image, path] : found.value()) {
        if (image.isUnknown() || image.store() != database_.store()) {
            const auto aside = setAside(path);
            if (!aside) {
                return aside.error();
            }
            report_(makeStoreError(
                StoreErrorCode::Damaged,
                formatted("the journal %@ is %@; it was set aside as %@, and what was stored last is lost",
                          path, image.isUnknown() ? "damaged" : "another store's", aside.value())));
            continue;
        }
        if (image.run() != database_.lastRun() + 1) {
            report_(makeStoreError(
                StoreErrorCode::Damaged,
                formatted("the store %@.db has lost what was stored before its journal", base_)));
        }
        if (auto carried = carryOver(image, path); !carried) {
            return carried;
        }
    }
    return {};
}

// A new database takes the name of the journal that is there, whose own one is gone.
Result<void> CarriedJournal::nameStore(const std::vector<StoreJournal::Found>& found) {
    if (database_.store() != 0) {
        return {};
    }
    std::random_device source;
    std::uint64_t store = (std::uint64_t{source()} << 32U | source()) | 1U;
    for (const auto& [image, path] : found) {
        store = image.isUnknown() ? store : image.store();
    }
    return database_.setStore(store);
}

Result<void> CarriedJournal::carryOver(const JournalImage& image, const std::string& path) {
    StoreFold changes;
    std::size_t unreadable = 0;
    const auto loss = image.forEachRecord(
        [&](std::string_view record) { unreadable += readStoreChanges(record, changes) ? 0 : 1; });
    if (loss.holes > 0 || unreadable > 0) {
        report_(makeStoreError(StoreErrorCode::Damaged,
                               formatted("the journal %@ is damaged in %d places and %d of its records; "
                                         "what stood there is lost",
                                         path, loss.holes, unreadable)));
    }
    return database_.bringIn(changes, image.run());
}

Result<void> CarriedJournal::carryOver(const Run& run) {
    const auto image = JournalImage::read(run.path);
    if (!image) {
        return image.error();
    }
    const std::lock_guard lock(databaseMutex_);
    return carryOver(image.value(), run.path);
}

Result<void> CarriedJournal::append(JournalRecord& record) {
    // Before it: in a file that could not be synced it would never be safe.
    if (journal_.mustEnd()) {
        endRun();
    }
    return journal_.append(record);
}

// The other file is free once what it holds was carried over. What fails here is told, and tried again behind
// a later record: the run goes on meanwhile.
void CarriedJournal::endRun() {
    const bool isTooLong = journal_.size() >= kLongestRun;
    {
        const std::lock_guard lock(carryingMutex_);
        if (isCarrying_ && !isTooLong) {
            return;
        }
    }
    waitForCarrying();
    forgetCarriedRun();
    const auto now = std::chrono::steady_clock::now();
    if (now < nextAttemptAt_) {
        return;
    }
    nextAttemptAt_ = now + kBetweenCarryings;
    if (former_ && isTooLong) {
        // The thread cannot do it, or does not come to it.
        (void)carryOverTo(former_->number);
    }
    if (!former_) {
        if (auto begun = beginNextRun(); !begun) {
            report_(begun.error());
            return;
        }
    }
    planCarryingOver(*former_);
}

void CarriedJournal::planCarryingOver(const Run& run) {
    {
        const std::lock_guard lock(carryingMutex_);
        isCarrying_ = true;
    }
    const auto ended = [this](bool isCarried, std::uint64_t number) {
        const std::lock_guard lock(carryingMutex_);
        isCarrying_ = false;
        carriedRun_ = isCarried ? number : carriedRun_;
        wasCarried_.notify_all();
    };
    try {
        worker_.add([this, ended, run] {
            bool isCarried = false;
            try {
                const auto carried = carryOver(run);
                isCarried = carried.isOk();
                if (!carried) {
                    report_(carried.error());
                }
            } catch (const std::exception&) {
                // No memory for it, or for its report: those who wait must go on.
            }
            ended(isCarried, run.number);
        });
    } catch (const std::exception& error) {
        ended(false, 0);
        report_(makeStoreError(
            StoreErrorCode::WriteFailed,
            formatted("the journal %@ cannot be carried over: %@", run.path, std::string(error.what()))));
    }
}

Result<void> CarriedJournal::beginNextRun() {
    Run ended{journal_.run(), journal_.path()};
    auto begun = journal_.beginNext();
    if (begun) {
        former_ = std::move(ended);
    }
    return begun;
}

CarriedJournal::Extent CarriedJournal::extent() {
    forgetCarriedRun();
    return {journal_.file(), former_.has_value()};
}

bool CarriedJournal::sync(const Extent& extent) {
    return journal_.sync(extent.file) && (!extent.isInBothFiles || journal_.sync(1 - extent.file));
}

void CarriedJournal::forgetCarriedRun() {
    const std::lock_guard lock(carryingMutex_);
    if (former_ && former_->number <= carriedRun_) {
        former_.reset();
        nextAttemptAt_ = {};
    }
}

// Behind it nothing runs on the background thread: what it guards may be read without its mutex.
void CarriedJournal::waitForCarrying() {
    std::unique_lock lock(carryingMutex_);
    wasCarried_.wait(lock, [this] { return !isCarrying_; });
}

Result<void> CarriedJournal::carryOverTo(std::uint64_t run) {
    waitForCarrying();
    while (carriedRun_ < run) {
        forgetCarriedRun();
        if (!former_) {
            if (auto begun = beginNextRun(); !begun) {
                return begun;
            }
        }
        if (auto carried = carryOver(*former_); !carried) {
            report_(carried.error());
            return carried;
        }
        carriedRun_ = former_->number;
        former_.reset();
    }
    return {};
}

}  // namespace xel
