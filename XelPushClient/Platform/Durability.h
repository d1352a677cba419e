#pragma once

namespace xel {

/// What a turn's commit survives.
enum class Durability {
    ProcessKill,  ///< a killed process; no file sync, the default
    PowerCut      ///< a power cut too: one file sync a turn, on the store's own thread
};

}  // namespace xel
