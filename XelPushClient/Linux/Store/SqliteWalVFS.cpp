#include "XelPushClient/Linux/Store/SqliteWalVFS.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <new>
#include <string>

#include <sqlite3.h>

namespace xel {
namespace {

// The format of a log: a header, then frames, each a header and a page
// (https://sqlite.org/fileformat2.html#walformat).
constexpr int kLogHeaderSize = 32;
constexpr int kFrameHeaderSize = 24;
constexpr std::size_t kLargestPage = 64 * 1024;
// SQLite writes a page at most at a time, and its VFS for Unix takes the lowest 17 bits of a count for the
// count: what is gathered is written before one more frame would not fit.
constexpr std::size_t kLargestWrite = 0x1FFFF;
constexpr std::size_t kLargestLogGathering = kLargestWrite - kFrameHeaderSize - kLargestPage;

/// Gathers what is appended to a log until the frame that commits it.
class LogFile {
public:
    explicit LogFile(sqlite3_file* file) : file_(file) {}

    int close() {
        const int flushed = flush();
        const int closed = file_->pMethods->xClose(file_);
        return flushed == SQLITE_OK ? closed : flushed;
    }

    int read(void* octets, int count, sqlite3_int64 offset) {
        const int flushed = flush();
        return flushed == SQLITE_OK ? file_->pMethods->xRead(file_, octets, count, offset) : flushed;
    }

    int write(const void* octets, int count, sqlite3_int64 offset) {
        const bool isAppended = offset == end_;
        end_ = offset + count;
        // No page has so few octets: a write of that size behind the last one begins a frame.
        const bool isFrameHeader = isAppended && count == kFrameHeaderSize;
        if (isAppended && (isFrameHeader || !gathered_.empty())) {
            return gather({static_cast<const char*>(octets), static_cast<std::size_t>(count)}, offset,
                          isFrameHeader);
        }
        const int flushed = flush();
        return flushed == SQLITE_OK ? file_->pMethods->xWrite(file_, octets, count, offset) : flushed;
    }

    int truncate(sqlite3_int64 size) {
        gathered_.clear();
        end_ = kNowhere;
        sqlite3_int64 present = 0;
        const int known = file_->pMethods->xFileSize(file_, &present);
        if (known != SQLITE_OK || size != 0 || present < kLogHeaderSize || present > kLargestKeptLog) {
            return file_->pMethods->xTruncate(file_, size);
        }
        // A log without its magic number counts as empty.
        static constexpr std::array<char, kLogHeaderSize> kInvalidHeader{};
        return file_->pMethods->xWrite(file_, kInvalidHeader.data(), kLogHeaderSize, 0);
    }

    int sync(int flags) {
        const int flushed = flush();
        return flushed == SQLITE_OK ? file_->pMethods->xSync(file_, flags) : flushed;
    }

    int size(sqlite3_int64* size) {
        const int flushed = flush();
        return flushed == SQLITE_OK ? file_->pMethods->xFileSize(file_, size) : flushed;
    }

    [[nodiscard]] sqlite3_file* file() const { return file_; }

private:
    static constexpr sqlite3_int64 kNowhere = -1;

    int gather(std::string_view octets, sqlite3_int64 offset, bool isFrameHeader) {
        if (gathered_.empty()) {
            start_ = offset;
        }
        gathered_.append(octets);
        if (isFrameHeader) {
            // Octets 4 to 7 hold the size of the database after the commit, or 0 in a frame that does not
            // commit.
            isCommitting_ = octets.substr(4, 4) != std::string_view("\0\0\0\0", 4);
            return SQLITE_OK;
        }
        return isCommitting_ || gathered_.size() > kLargestLogGathering ? flush() : SQLITE_OK;
    }

    int flush() {
        if (gathered_.empty()) {
            return SQLITE_OK;
        }
        const int written =
            file_->pMethods->xWrite(file_, gathered_.data(), static_cast<int>(gathered_.size()), start_);
        gathered_.clear();
        isCommitting_ = false;
        if (written != SQLITE_OK) {
            // Nothing counts as appended until SQLite has written at a place of its own choice again.
            end_ = kNowhere;
        }
        return written;
    }

    sqlite3_file* file_;
    std::string gathered_;
    sqlite3_int64 start_ = 0;
    sqlite3_int64 end_ = kNowhere;
    bool isCommitting_ = false;
};

/// What SQLite sees: its base, then our part; the file beneath lies behind it in the same memory.
struct LogHandle {
    sqlite3_file base;
    alignas(LogFile) std::array<std::byte, sizeof(LogFile)> storage;

    LogFile& log() { return *std::launder(reinterpret_cast<LogFile*>(storage.data())); }
};

constexpr std::size_t kHandleSize = (sizeof(LogHandle) + alignof(std::max_align_t) - 1) /
                                    alignof(std::max_align_t) * alignof(std::max_align_t);

LogFile& logOf(sqlite3_file* file) {
    return reinterpret_cast<LogHandle*>(file)->log();
}
sqlite3_file* beneath(sqlite3_file* file) {
    return logOf(file).file();
}
sqlite3_vfs* machineOf(sqlite3_vfs* vfs) {
    return static_cast<sqlite3_vfs*>(vfs->pAppData);
}

/// Runs what may allocate; SQLite is C and must see a code, not an exception.
template <class Work>
int guarded(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return SQLITE_IOERR_NOMEM;
    }
}

int closeLog(sqlite3_file* file) {
    const int result = guarded([file] { return logOf(file).close(); });
    logOf(file).~LogFile();
    file->pMethods = nullptr;
    return result;
}

sqlite3_io_methods makeLogMethods() {
    sqlite3_io_methods methods{};
    // Shared memory and memory mapping, of later versions, belong to the database's own file.
    methods.iVersion = 1;
    methods.xClose = closeLog;
    methods.xRead = [](sqlite3_file* file, void* octets, int count, sqlite3_int64 offset) {
        return guarded([&] { return logOf(file).read(octets, count, offset); });
    };
    methods.xWrite = [](sqlite3_file* file, const void* octets, int count, sqlite3_int64 offset) {
        return guarded([&] { return logOf(file).write(octets, count, offset); });
    };
    methods.xTruncate = [](sqlite3_file* file, sqlite3_int64 size) { return logOf(file).truncate(size); };
    methods.xSync = [](sqlite3_file* file, int flags) { return logOf(file).sync(flags); };
    methods.xFileSize = [](sqlite3_file* file, sqlite3_int64* size) { return logOf(file).size(size); };
    methods.xLock = [](sqlite3_file* file, int level) {
        return beneath(file)->pMethods->xLock(beneath(file), level);
    };
    methods.xUnlock = [](sqlite3_file* file, int level) {
        return beneath(file)->pMethods->xUnlock(beneath(file), level);
    };
    methods.xCheckReservedLock = [](sqlite3_file* file, int* isReserved) {
        return beneath(file)->pMethods->xCheckReservedLock(beneath(file), isReserved);
    };
    methods.xFileControl = [](sqlite3_file* file, int operation, void* argument) {
        return beneath(file)->pMethods->xFileControl(beneath(file), operation, argument);
    };
    methods.xSectorSize = [](sqlite3_file* file) {
        return beneath(file)->pMethods->xSectorSize(beneath(file));
    };
    methods.xDeviceCharacteristics = [](sqlite3_file* file) {
        return beneath(file)->pMethods->xDeviceCharacteristics(beneath(file));
    };
    return methods;
}

/// A file that cannot be opened for writing at the moment, because there are no descriptors left, say, is
/// opened for reading by the machine's file system. What is committed then comes to nothing.
int openForWriting(sqlite3_vfs* machine, const char* name, sqlite3_file* file, int flags, int* flagsGiven) {
    int given = 0;
    const int opened = machine->xOpen(machine, name, file, flags, &given);
    if (flagsGiven != nullptr) {
        *flagsGiven = given;
    }
    const bool isWanting = (flags & SQLITE_OPEN_READWRITE) != 0 && (given & SQLITE_OPEN_READONLY) != 0;
    if (opened != SQLITE_OK || !isWanting) {
        return opened;
    }
    const int reason = errno;
    file->pMethods->xClose(file);
    file->pMethods = nullptr;
    errno = reason;  // SQLite asks for it
    return SQLITE_CANTOPEN;
}

int openFile(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* flagsGiven) {
    static const sqlite3_io_methods kLogMethods = makeLogMethods();
    sqlite3_vfs* const machine = machineOf(vfs);
    if ((flags & SQLITE_OPEN_WAL) == 0) {
        return openForWriting(machine, name, file, flags, flagsGiven);
    }
    auto* const inner = reinterpret_cast<sqlite3_file*>(reinterpret_cast<std::byte*>(file) + kHandleSize);
    const int opened = openForWriting(machine, name, inner, flags, flagsGiven);
    if (opened != SQLITE_OK) {
        // A file that could not be opened, but has methods, must be closed
        // (https://sqlite.org/c3ref/io_methods.html).
        if (inner->pMethods != nullptr) {
            inner->pMethods->xClose(inner);
        }
        file->pMethods = nullptr;
        return opened;
    }
    auto* const handle = reinterpret_cast<LogHandle*>(file);
    new (handle->storage.data()) LogFile(inner);
    file->pMethods = &kLogMethods;
    return SQLITE_OK;
}

}  // namespace

const char* sqliteWalVFSName() {
    static constexpr char kName[] = "xelpush-wal";
    static const bool isRegistered = [] {
        sqlite3_vfs* const machine = sqlite3_vfs_find(nullptr);
        static sqlite3_vfs vfs;
        vfs = *machine;
        vfs.pNext = nullptr;
        vfs.zName = kName;
        vfs.pAppData = machine;
        vfs.szOsFile = static_cast<int>(kHandleSize) + machine->szOsFile;
        vfs.xOpen = openFile;
        return sqlite3_vfs_register(&vfs, 0) == SQLITE_OK;
    }();
    return isRegistered ? kName : nullptr;
}

}  // namespace xel
