#include "XelPushClient/Linux/HTTP/MediaFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Platform/NSFileManager.h"

namespace xel {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPrefix = "media-";

}  // namespace

Result<MediaFolder::NewFile> MediaFolder::makeFile() const {
    if (const auto made = makeFolder(); !made) {
        return makeFileError(NSFileErrorCode::WriteUnknown, made.error().localizedDescription());
    }
    removeOldFiles();
    std::string path = path_ + '/' + kPrefix + "XXXXXX";
    FileDescriptor descriptor(::mkostemp(path.data(), O_CLOEXEC));
    if (!descriptor.isOpen()) {
        const std::string reason = std::generic_category().message(errno);
        return makeFileError(NSFileErrorCode::WriteUnknown,
                             formatted("cannot make a file in %@: %@", path_, reason));
    }
    return NewFile{std::move(path), std::move(descriptor)};
}

// The folder above counts too: who may write there could put another one in this one's place.
Result<void> MediaFolder::makeFolder() const {
    if (auto made = makeStoreFolder(path_); !made) {
        return made;
    }
    if (auto above = refuseForeignFolder(fs::path(path_).parent_path().string()); !above) {
        return above;
    }
    return refuseForeignFolder(path_);
}

void MediaFolder::removeOldFiles() const {
    std::vector<std::pair<fs::file_time_type, fs::path>> files;
    std::error_code error;
    for (fs::directory_iterator entry(path_, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown;
        const auto time = entry->last_write_time(unknown);
        const bool isOurs = entry->path().filename().string().starts_with(kPrefix);
        if (isOurs && !unknown && entry->is_regular_file(unknown)) {
            files.emplace_back(time, entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    // One fewer than the most: the next one is about to be made.
    for (std::size_t count = files.size(); count >= kMostFiles; --count) {
        std::error_code ignored;
        fs::remove(files[files.size() - count].second, ignored);
    }
}

}  // namespace xel
