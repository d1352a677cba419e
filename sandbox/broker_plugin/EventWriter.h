#pragma once

#include <filesystem>
#include <optional>
#include <variant>

#include "sandbox/relay/EventRecord.h"
#include "sandbox/store/EventStore.h"

namespace xel::sandbox {

/// Writes events and receipts, and knows whether that works: the row that could not be written is remembered
/// and tried again before any other. So it is that row, in its place and of its size, that says when the disk
/// has room again or the file is whole; a trial row of another kind might fit where this one does not.
///
/// Thread: one at a time.
class EventWriter {
public:
    /// Throws SandboxError when the file cannot be opened.
    explicit EventWriter(const std::filesystem::path& file);

    /// Whether a row waits to be written.
    [[nodiscard]] bool hasUnwritten() const { return unwritten_.has_value(); }

    /// Writes what waits. Throws SandboxError when that fails again.
    void writeUnwritten();

    /// Writes a row. Throws SandboxError when that fails; then it waits, unless another does.
    void write(const EventRecord& event);
    void write(const ReceiptRecord& receipt);

private:
    template <typename Record>
    void keepOrRemember(const Record& record);

    EventStore store_;
    std::optional<std::variant<EventRecord, ReceiptRecord>> unwritten_;
};

}  // namespace xel::sandbox
