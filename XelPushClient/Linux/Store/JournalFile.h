#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"
#include "XelPushClient/Linux/Store/JournalFormat.h"

namespace xel {

/// A record that is being made: its contents, behind room for what the file puts in front of them.
class JournalRecord {
public:
    JournalRecord() { clear(); }

    /// Where contents are appended.
    [[nodiscard]] std::string& octets() { return octets_; }
    [[nodiscard]] bool isEmpty() const { return octets_.size() == kRecordHeaderSize; }
    void clear() { octets_.assign(kRecordHeaderSize, '\0'); }

private:
    std::string octets_;
};

/// A file to which records are appended, and which is begun anew for each run of a journal.
///
/// The file keeps the blocks that an earlier run has written, which is far cheaper than to have them made
/// again (JournalFormat.h says why their contents count as nothing). Thread: one at a time.
class JournalFile {
public:
    /// Opens the file, or makes it, for the user alone (mode 0600). Its contents stay until `begin`.
    [[nodiscard]] static Result<JournalFile> open(const std::string& path);

    /// Begins a run of that store's journal: the file holds no record.
    [[nodiscard]] Result<void> begin(std::uint64_t store, std::uint64_t run);

    /// Appends the record by one write. When that fails the file holds what it held before.
    [[nodiscard]] Result<void> append(JournalRecord& record);

    /// Whether everything appended is on the disk. Thread: any, beside the others.
    [[nodiscard]] bool sync() const;

    /// Octets of the run.
    [[nodiscard]] std::uint64_t size() const { return size_; }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
    FileDescriptor file_;
    std::uint64_t salt_ = 0;
    std::uint64_t size_ = 0;
};

}  // namespace xel
