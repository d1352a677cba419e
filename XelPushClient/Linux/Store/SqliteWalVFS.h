#pragma once

namespace xel {

/// The name of an SQLite file system for stores in write-ahead mode, registered by the first call. From any
/// thread.
///
/// It is the machine's own file system, but that it opens no file for reading only where writing was asked
/// for, and with two differences for the write-ahead log:
/// - SQLite writes a frame's header and its page by one system call each. Here what a transaction appends is
///   gathered and leaves in one, together with the frame that commits it, so that a killed process loses no
///   commit.
/// - Truncating the log to nothing, as the end of a checkpoint does, only makes its header invalid: the
///   blocks stay in the file, and in memory, and are written again, which is far cheaper than fresh ones.
///   A log beyond `kLargestKeptLog` octets is truncated all the same.
[[nodiscard]] const char* sqliteWalVFSName();

inline constexpr long long kLargestKeptLog = 16LL * 1024 * 1024;

}  // namespace xel
