#include "XelPushClient/Linux/Store/JournalImage.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Linux/Process/FileDescriptor.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Store/JournalFormat.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel {
namespace {

/// False, with errno, when it cannot be read.
[[nodiscard]] bool readAll(int file, std::string& octets) {
    struct stat facts {};
    if (::fstat(file, &facts) != 0) {
        return false;
    }
    if (!S_ISREG(facts.st_mode)) {
        errno = EINVAL;
        return false;
    }
    octets.resize(static_cast<std::size_t>(facts.st_size));
    for (std::size_t at = 0; at < octets.size();) {
        const auto count = ::pread(file, octets.data() + at, octets.size() - at, static_cast<off_t>(at));
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count == 0) {
            octets.resize(at);
        }
        at += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return true;
}

/// The first sound copy of the header; empty when there is none.
std::string_view headerOf(std::string_view file) {
    for (const std::size_t at : {std::size_t{0}, kJournalHeaderCopySize}) {
        const auto header = file.substr(std::min(at, file.size()), kJournalHeaderCopySize);
        if (header.size() == kJournalHeaderCopySize && header.starts_with(kJournalMagic) &&
            numberAt<std::uint64_t>(header.data() + kJournalHeaderSumAt) == journalHeaderSum(header)) {
            return header;
        }
    }
    return {};
}

}  // namespace

Result<JournalImage> JournalImage::read(const std::string& path) {
    std::string octets;
    // Without waiting: somebody may have put a pipe in its place.
    const FileDescriptor file(openInThisProcess(
        [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK); }));
    if (!file.isOpen() && errno == ENOENT) {
        return JournalImage();
    }
    if (!file.isOpen() || !readAll(file.number(), octets)) {
        return makeStoreError(StoreErrorCode::CannotOpen, "the journal " + path + " cannot be read: " +
                                                              std::generic_category().message(errno));
    }
    return of(std::move(octets));
}

JournalImage JournalImage::of(std::string octets) {
    JournalImage image;
    image.octets_ = std::move(octets);
    if (const auto header = headerOf(image.octets_); !header.empty()) {
        image.run_ = numberAt<std::uint64_t>(header.data() + kJournalRunAt);
        image.salt_ = numberAt<std::uint64_t>(header.data() + kJournalSaltAt);
        image.store_ = numberAt<std::uint64_t>(header.data() + kJournalStoreAt);
    }
    return image;
}

JournalImage::Loss JournalImage::forEachRecord(const std::function<void(std::string_view)>& take) const {
    Loss loss;
    if (run_ == 0) {
        return loss;
    }
    for (std::size_t at = std::min(kJournalHeaderSize, octets_.size());;) {
        if (const auto record = recordAt(at)) {
            take(*record);
            at += kRecordHeaderSize + record->size();
            continue;
        }
        const auto next = findRecordBehind(at);
        if (!next) {
            return loss;
        }
        ++loss.holes;
        loss.octets += *next - at;
        at = *next;
    }
}

std::optional<std::string_view> JournalImage::recordAt(std::size_t at) const {
    if (octets_.size() - at < kRecordHeaderSize) {
        return std::nullopt;
    }
    const char* const header = octets_.data() + at;
    const auto length = numberAt<std::uint32_t>(header + kRecordLengthAt);
    const auto rest = std::string_view(octets_).substr(at + kRecordHeaderSize);
    if (numberAt<std::uint32_t>(header) != recordMarker(salt_) || length == 0 || length > rest.size()) {
        return std::nullopt;
    }
    const auto contents = rest.substr(0, length);
    const bool isSound = numberAt<std::uint64_t>(header + kRecordSumAt) == recordSum(contents, salt_, at);
    return isSound ? std::optional(contents) : std::nullopt;
}

std::optional<std::size_t> JournalImage::findRecordBehind(std::size_t at) const {
    std::array<char, sizeof(std::uint32_t)> marker{};
    putNumber(marker.data(), recordMarker(salt_));
    const std::string_view pattern(marker.data(), marker.size());
    for (at = octets_.find(pattern, at + 1); at != std::string::npos; at = octets_.find(pattern, at + 1)) {
        if (recordAt(at)) {
            return at;
        }
    }
    return std::nullopt;
}

}  // namespace xel
