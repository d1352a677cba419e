#include "XelPushClient/Linux/Store/JournalFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel {
namespace {

NSError journalError(StoreErrorCode code, std::string_view what, const std::string& path) {
    const int number = errno;
    if (number == ENOSPC || number == EDQUOT) {
        return makeStoreError(code, "the journal " + path + " cannot grow: the disk is full");
    }
    return makeStoreError(code, "the journal " + path + " cannot be " + std::string(what) + ": " +
                                    std::generic_category().message(number));
}

/// False, with errno, when not all of it was written.
[[nodiscard]] bool writeAll(int file, std::string_view octets, std::uint64_t at) {
    while (!octets.empty()) {
        const auto count = ::pwrite(file, octets.data(), octets.size(), static_cast<off_t>(at));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        at += static_cast<std::uint64_t>(count);
        octets.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

Result<JournalFile> JournalFile::open(const std::string& path) {
    JournalFile journal;
    journal.path_ = path;
    journal.file_ = FileDescriptor(openInThisProcess(
        [&] { return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR); }));
    // An earlier file may have other rights, and a umask takes some away.
    if (!journal.file_.isOpen() || ::fchmod(journal.file_.number(), S_IRUSR | S_IWUSR) != 0) {
        return journalError(StoreErrorCode::CannotOpen, "opened", path);
    }
    return journal;
}

Result<void> JournalFile::begin(std::uint64_t store, std::uint64_t run) {
    std::random_device source;
    const std::uint64_t salt = std::uint64_t{source()} << 32U | source();
    std::array<char, kJournalHeaderSize> header{};
    std::copy(kJournalMagic.begin(), kJournalMagic.end(), header.begin());
    putNumber(header.data() + kJournalRunAt, run);
    putNumber(header.data() + kJournalSaltAt, salt);
    putNumber(header.data() + kJournalStoreAt, store);
    putNumber(header.data() + kJournalHeaderSumAt, journalHeaderSum({header.data(), kJournalHeaderCopySize}));
    std::copy_n(header.begin(), kJournalHeaderCopySize, header.begin() + kJournalHeaderCopySize);
    if (!writeAll(file_.number(), {header.data(), header.size()}, 0)) {
        return journalError(StoreErrorCode::WriteFailed, "begun", path_);
    }
    salt_ = salt;
    size_ = kJournalHeaderSize;
    return {};
}

Result<void> JournalFile::append(JournalRecord& record) {
    std::string& octets = record.octets();
    const auto contents = std::string_view(octets).substr(kRecordHeaderSize);
    putNumber(octets.data(), recordMarker(salt_));
    putNumber(octets.data() + kRecordLengthAt, static_cast<std::uint32_t>(contents.size()));
    putNumber(octets.data() + kRecordSumAt, recordSum(contents, salt_, size_));
    // What a failed write leaves counts as nothing, and the next record is written over it.
    if (!writeAll(file_.number(), octets, size_)) {
        return journalError(StoreErrorCode::WriteFailed, "written to", path_);
    }
    size_ += octets.size();
    return {};
}

bool JournalFile::sync() const {
    return ::fdatasync(file_.number()) == 0;
}

}  // namespace xel
