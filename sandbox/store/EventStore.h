#pragma once

#include <cstdint>
#include <filesystem>

#include "sandbox/relay/Json.h"
#include "sandbox/store/Database.h"

namespace xel::sandbox {

struct EventRecord;
struct ReceiptRecord;

/// The events and receipts that were published, in a file of their own.
///
/// Two processes share the file: the broker's plugin writes, the service reads and carries the log over. So
/// no write ever waits for the service or for the disk, and what is written survives the end of either.
///
/// Thread: one at a time for each object. Every operation throws SandboxError when the file fails.
class EventStore {
public:
    explicit EventStore(const std::filesystem::path& file);

    /// Keeps an event, unless one with this id is there.
    void keep(const EventRecord& event);

    /// Keeps a receipt, unless the same one (message, user, device, time) is there.
    void keep(const ReceiptRecord& receipt);

    /// The last `limit` events that fit an answer, in the order in which they came: "id", "event",
    /// "deviceId", "user", "data" (null when the payload is no JSON object), "received" (milliseconds since
    /// 1970).
    [[nodiscard]] Json listEvents(std::int64_t limit) const;

    /// The last `limit` receipts, in the order in which they came: "kind", "messageId", "user", "deviceId",
    /// "ts", "received".
    [[nodiscard]] Json listReceipts(std::int64_t limit) const;

    /// Copies the log into the file, as far as that goes without making the writer wait. Waits for the disk.
    void carryLogOver();

private:
    Database database_;
};

}  // namespace xel::sandbox
