#pragma once

namespace xel {

/// What the traffic of a client survives: the ids by which a turn's messages are known again, and the
/// publications that the broker has not acknowledged. The identity and the settings survive a killed process
/// in any case.
enum class Durability {
    /// Nothing but its session: a process that ends, however it ends, gives up what it has not sent, and may
    /// show once more what the broker sends again. The cheapest.
    Memory,
    /// A killed process; no file sync. The default.
    ProcessKill,
    /// A power cut too: a file sync for each turn, on a thread of the store's, and one in each call that
    /// publishes.
    PowerCut
};

}  // namespace xel
