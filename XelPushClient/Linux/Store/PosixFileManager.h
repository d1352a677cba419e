#pragma once

#include "XelPushClient/Platform/NSFileManager.h"

namespace xel {

/// Files by the system's own calls. A new file is written under a name of its own beside the target, synced,
/// and linked to the target's name, so that it is whole whenever it is seen.
class PosixFileManager final : public NSFileManager {
public:
    [[nodiscard]] Result<void> moveItem(const std::string& from, const std::string& to) override;
    [[nodiscard]] Result<void> writeNewFile(std::string_view content, const std::string& path) override;
};

}  // namespace xel
