#pragma once

#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"

namespace xel {

/// Makes the folder and what is missing above it, for the user alone (mode 0700).
[[nodiscard]] Result<void> makeStoreFolder(const std::string& folder);

/// Refuses a folder in which others could put files in the place of ours: one that everybody may write to, or
/// whose owner is neither this user nor root.
[[nodiscard]] Result<void> refuseForeignFolder(const std::string& folder);

/// Whether the folder's group may write to it; no when there is none.
[[nodiscard]] bool isGroupWritable(const std::string& folder);

/// Makes the file when it is missing, and for the user alone (mode 0600) in any case.
[[nodiscard]] Result<void> makePrivateFile(const std::string& path);

/// Takes the lock file, which this process then owns until the descriptor is closed or the process ends. The
/// error names the owner.
[[nodiscard]] Result<FileDescriptor> takeOwnership(const std::string& lockPath);

/// Renames what there is of the database and its log to "….damaged-<time>", and returns the new path.
[[nodiscard]] Result<std::string> setAside(const std::string& databasePath);

/// Makes the names in the folder durable: what a new file needs beside its own sync.
void syncFolder(const std::string& folder);

}  // namespace xel
