#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "XelPushClient/Linux/Store/JournalFile.h"
#include "XelPushClient/Linux/Store/JournalImage.h"

namespace xel {

/// The journal of a store: two files that take turns. A run goes on in one of them until it is long enough
/// and what the other one holds was carried over into the store's database.
///
/// Thread: one, but for `sync`.
class StoreJournal {
public:
    /// Octets at which a run is long enough. An opening behind a kill reads twice as many at the most.
    static constexpr std::uint64_t kRunLength = 16ULL * 1024 * 1024;

    /// The journal beside the store's file "<base>.db": "<base>.journal" and "<base>.journal-2".
    explicit StoreJournal(const std::string& base);

    /// A run that was found, and is to be carried over.
    struct Found {
        JournalImage image;
        std::string path;
    };
    /// The runs behind the last one of that store's that was carried over, in their order, and whatever there
    /// is that is none of its.
    [[nodiscard]] Result<std::vector<Found>> findBehind(std::uint64_t store, std::uint64_t lastRun) const;

    /// Opens or makes the files, and begins a run of that store's in the first of them. What is in them must
    /// be carried over.
    [[nodiscard]] Result<void> begin(std::uint64_t store, std::uint64_t run);

    /// As `JournalFile::append`.
    [[nodiscard]] Result<void> append(JournalRecord& record) { return current().append(record); }
    /// Octets of the run.
    [[nodiscard]] std::uint64_t size() const { return files_[current_].size(); }
    /// Whether it is to go on in the other file.
    [[nodiscard]] bool mustEnd() const { return size() >= kRunLength || hasFailedSync(); }
    /// Whether a sync of the run's file has failed. The system tells that once and forgets what it could not
    /// write, so that none of the file is believed any more (`sync`) until another run begins in it.
    [[nodiscard]] bool hasFailedSync() const { return hasFailedSync_[current_]; }
    [[nodiscard]] std::uint64_t run() const { return run_; }
    [[nodiscard]] const std::string& path() const { return files_[current_].path(); }

    /// Goes on with the next run in the other file, what is in which must be carried over. On an error the
    /// run goes on.
    [[nodiscard]] Result<void> beginNext();

    /// The file that holds the run, for `sync`.
    [[nodiscard]] std::size_t file() const { return current_; }
    /// Whether what was appended to that file is on the disk. Thread: any, beside the others.
    [[nodiscard]] bool sync(std::size_t file);

    /// Removes the files: everything was carried over.
    void remove();

private:
    [[nodiscard]] JournalFile& current() { return files_[current_]; }
    [[nodiscard]] Result<void> beginIn(std::size_t file, std::uint64_t run);

    std::array<std::string, 2> paths_;
    std::array<JournalFile, 2> files_;
    std::array<std::atomic<bool>, 2> hasFailedSync_{};
    std::size_t current_ = 0;
    std::uint64_t store_ = 0;
    std::uint64_t run_ = 0;
};

}  // namespace xel
