#pragma once

#include <cstddef>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"

namespace xel {

/// A folder of downloaded media, for the user alone (mode 0700), made with its first file; one in which
/// others could put files in the place of ours, or that lies in such a one, takes none. Notifications on
/// screen still show their files, so it keeps the newest; the rest goes when another file is made.
/// Thread: any.
class MediaFolder {
public:
    static constexpr std::size_t kMostFiles = 16;

    explicit MediaFolder(std::string path) : path_(std::move(path)) {}

    struct NewFile {
        std::string path;
        FileDescriptor descriptor;
    };
    /// A new file under a name that nobody else has, mode 0600. The error is one of `NSCocoaErrorDomain`.
    [[nodiscard]] Result<NewFile> makeFile() const;

private:
    [[nodiscard]] Result<void> makeFolder() const;
    void removeOldFiles() const;

    std::string path_;
};

}  // namespace xel
