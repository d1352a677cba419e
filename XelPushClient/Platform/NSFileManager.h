#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// Domain and codes of the errors of files; the codes are the platform's published ones.
inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";

enum class NSFileErrorCode : std::int64_t {
    NoSuchFile = 4,
    WriteUnknown = 512,
    WriteFileExists = 516,
};

/// Files that only the user may read. Paths are absolute. From any thread; each call does its work on the
/// calling thread.
class NSFileManager {
public:
    virtual ~NSFileManager() = default;

    /// Renames a file within one file system. Fails, changing nothing, when the target is there already or
    /// its folder is not.
    [[nodiscard]] virtual Result<void> moveItem(const std::string& from, const std::string& to) = 0;

    /// Makes a new file with that content, mode 0600: the whole of it or nothing, durable when this
    /// returns. `WriteFileExists`, changing nothing, when something of that name is there. May wait for
    /// the disk.
    [[nodiscard]] virtual Result<void> writeNewFile(std::string_view content, const std::string& path) = 0;
};

/// An error of a file.
[[nodiscard]] inline NSError makeFileError(NSFileErrorCode code, std::string_view description) {
    return makeError(NSCocoaErrorDomain, static_cast<std::int64_t>(code), description);
}

}  // namespace xel
