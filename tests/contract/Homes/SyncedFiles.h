#pragma once

#include <map>
#include <mutex>
#include <string>

namespace xel::contract {

/// While it lives it sees each file sync of this process, SQLite's too: what a power cut would leave of the
/// files, and a disk that refuses to sync. One at a time; from any thread.
class SyncedFiles {
public:
    SyncedFiles();
    SyncedFiles(const SyncedFiles&) = delete;
    SyncedFiles& operator=(const SyncedFiles&) = delete;
    ~SyncedFiles();

    /// The contents of each file below the folder when it was synced last.
    [[nodiscard]] std::map<std::string, std::string> below(const std::string& folder) const;
    [[nodiscard]] int count() const;
    /// Whether syncs of files whose path ends so fail; of none when it is empty.
    void setFailing(std::string ending);

    /// Answers as fsync(2) does.
    int sync(int descriptor);

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::string> contents_;  // guarded by it, like the next
    std::string failing_;
    int count_ = 0;
};

}  // namespace xel::contract
