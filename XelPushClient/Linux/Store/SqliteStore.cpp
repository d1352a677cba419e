#include "XelPushClient/Linux/Store/SqliteStore.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <list>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "XelPushClient/Linux/Process/BackgroundThread.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Store/SqliteConnection.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Somebody who is answered once the background thread is done.
struct SqliteStore::Waiter {
    std::function<void(bool)> done;
    bool outcome = false;
};

struct SqliteStore::Parts {
    SqliteStoreOptions options;
    std::string path;
    std::optional<NSError> damageReport;
    FileDescriptor ownership;
    FileDescriptor log;  // for syncs, which need no connection

    std::mutex connectionMutex;
    std::condition_variable becameFree;
    SqliteConnection connection;  // guarded by connectionMutex, like the three below
    SqliteCommitRider* rider = nullptr;
    bool isInTransaction = false;
    bool isRiding = false;

    std::atomic<bool> isCheckpointPlanned = false;

    // Set while the background thread wants the connection or has it; cleared with both mutexes held.
    std::atomic<bool> isBusy = false;

    // In lists, because those who wait go from one to the next where memory may have run out. All are guarded
    // by waitersMutex.
    std::mutex waitersMutex;
    std::list<Waiter> whenFree;
    std::list<Waiter> whenSynced;
    std::list<Waiter> due;  // a block each is posted, or being posted

    std::atomic<bool> isEnding = false;

    // Last: its thread uses what is above and is gone before that is.
    SerialWorker worker{"xel-store"};
};

namespace {

/// Until a block that found no memory is posted again.
constexpr std::chrono::milliseconds kWaitForMemory{20};

/// A file of no octets, or none at all, beside a log that holds some has lost its contents: SQLite would take
/// it for a new one and delete the log. None at all is also what a kill leaves between the two renames of
/// `setAside`.
bool hasLostItsContents(const std::string& path) {
    struct stat database {};
    struct stat log {};
    const bool isEmpty = stat(path.c_str(), &database) == 0 ? database.st_size == 0 : errno == ENOENT;
    return isEmpty && stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
}

Result<void> refuseLostContents(const std::string& path) {
    if (hasLostItsContents(path)) {
        return makeStoreError(
            StoreErrorCode::Damaged,
            "the store " + path + " is damaged (the file is empty or gone, its log is not)");
    }
    return {};
}

Result<void> openSound(SqliteConnection& connection, const std::string& path) {
    if (auto lost = refuseLostContents(path); !lost) {
        return lost;
    }
    if (auto file = makePrivateFile(path); !file) {
        return file;
    }
    return connection.open(path);
}

bool isDamage(const NSError& error) {
    return error.code == static_cast<std::int64_t>(StoreErrorCode::Damaged);
}

}  // namespace

Result<std::shared_ptr<SqliteStore>> SqliteStore::open(SqliteStoreOptions options) {
    auto parts = std::make_unique<Parts>();
    parts->options = std::move(options);
    const std::string& folder = parts->options.folder;
    parts->path = folder + "/" + parts->options.name + ".db";
    if (auto made = makeStoreFolder(folder); !made) {
        return made.error();
    }
    if (auto ours = refuseForeignFolder(folder); !ours) {
        return ours.error();
    }
    // By a file of its own: the database's is renamed when it is damaged.
    auto ownership = takeOwnership(folder + "/" + parts->options.name + ".lock");
    if (!ownership) {
        return ownership.error();
    }
    parts->ownership = std::move(ownership).value();

    auto opened = openSound(parts->connection, parts->path);
    if (!opened && isDamage(opened.error())) {
        const auto aside = setAside(parts->path);
        if (!aside) {
            return aside.error();
        }
        parts->damageReport = makeStoreError(
            StoreErrorCode::Damaged, opened.error().localizedDescription() + "; it was set aside as " +
                                         aside.value() + " and a new one made");
        opened = openSound(parts->connection, parts->path);
    }
    if (!opened) {
        return opened.error();
    }
    // Opened once: SQLite keeps the file for as long as the connection is open.
    parts->log = FileDescriptor(::open((parts->path + "-wal").c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (!parts->log.isOpen()) {
        return makeStoreError(StoreErrorCode::CannotOpen, "the log of the store " + parts->path +
                                                              " cannot be opened (" +
                                                              std::generic_category().message(errno) + ")");
    }
    syncFolder(folder);
    const auto store = ownedByThisProcess(std::unique_ptr<SqliteStore>(new SqliteStore(std::move(parts))));
    if (store->damageReport()) {
        store->report(*store->damageReport());
    }
    return store;
}

Result<void> SqliteStore::examine(const std::string& folder, const std::string& name) {
    const auto ownership = takeOwnership(folder + "/" + name + ".lock");
    if (!ownership) {
        return ownership.error();
    }
    const std::string path = folder + "/" + name + ".db";
    if (auto lost = refuseLostContents(path); !lost) {
        return lost;
    }
    SqliteConnection connection;
    return connection.open(path);
}

SqliteStore::SqliteStore(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

SqliteStore::~SqliteStore() {
    parts_->isEnding = true;
}

const std::optional<NSError>& SqliteStore::damageReport() const {
    return parts_->damageReport;
}
const std::string& SqliteStore::path() const {
    return parts_->path;
}
Durability SqliteStore::durability() const {
    return parts_->options.durability;
}
const std::shared_ptr<NSRunLoop>& SqliteStore::runLoop() const {
    return parts_->options.runLoop;
}
sqlite3* SqliteStore::connection() const {
    return parts_->connection.handle();
}
NSError SqliteStore::errorFor(int code) const {
    return parts_->connection.errorFor(code);
}

// The background thread goes first: a busy caller could keep it out for long.
SqliteStore::Access::Access(SqliteStore& store) : store_(store) {
    store_.parts_->connectionMutex.lock();
    store_.waitWhile(store_.parts_->isBusy);
}
SqliteStore::Access::~Access() {
    store_.parts_->connectionMutex.unlock();
}

void SqliteStore::waitWhile(const std::atomic<bool>& flag) {
    if (flag) {
        // The lock is the `Access`'s: lent to the wait, and given back.
        std::unique_lock lock(parts_->connectionMutex, std::adopt_lock);
        parts_->becameFree.wait(lock, [&flag] { return !flag; });
        (void)lock.release();
    }
}

void SqliteStore::setRider(SqliteCommitRider* rider) {
    const Access access(*this);
    parts_->rider = rider;
}

void SqliteStore::report(const NSError& problem) const {
    if (parts_->options.problemHandler) {
        parts_->options.problemHandler(problem);
    }
}

int SqliteStore::beginCommit(bool isSingleStatement) {
    Parts& parts = *parts_;
    parts.isRiding = parts.rider != nullptr && parts.rider->wantsToRide();
    parts.isInTransaction = !isSingleStatement || parts.isRiding;
    if (!parts.isInTransaction) {
        return kSuccess;
    }
    const int code = parts.connection.begin();
    return code == kSuccess && parts.isRiding ? parts.rider->ride() : code;
}

Result<void> SqliteStore::endCommit(int code) {
    Parts& parts = *parts_;
    if (code == kSuccess && parts.isInTransaction) {
        code = parts.connection.end();
    }
    if (code != kSuccess) {
        auto error = parts.connection.errorFor(code);
        parts.connection.giveUp();
        report(error);
        return error;
    }
    if (parts.isRiding) {
        parts.rider->arrive();
    }
    const int frames = parts.connection.framesInLog();
    if (frames >= kFramesBeforeCheckpoint) {
        planCheckpoint();
    }
    if (frames >= kMostFrames) {
        waitWhile(parts.isCheckpointPlanned);
    }
    return {};
}

void SqliteStore::reportLog(std::string_view what, std::string_view reason) const {
    try {
        report(makeStoreError(StoreErrorCode::WriteFailed,
                              "the log of " + parts_->path + " " + std::string(what) + std::string(reason)));
    } catch (const std::exception&) {
        return;  // not even memory to say so
    }
}

void SqliteStore::abandonCommit() {
    parts_->connection.giveUp();
}

// The commit before it stands: what fails here is told and tried again by the next one.
void SqliteStore::planCheckpoint() {
    Parts& parts = *parts_;
    if (parts.isCheckpointPlanned.exchange(true)) {
        return;
    }
    try {
        parts.worker.add([this] { carryLogOver(); });
    } catch (const std::exception& error) {
        parts.isCheckpointPlanned = false;
        reportLog("cannot be carried over: ", error.what());
    }
}

void SqliteStore::carryLogOver() {
    Parts& parts = *parts_;
    // Most of the waiting for the disk happens here, where it holds nobody up.
    (void)fdatasync(parts.log.number());
    parts.isBusy = true;
    std::list<Waiter> waiters;
    {
        const std::lock_guard connectionLock(parts.connectionMutex);
        checkpoint();
        const std::lock_guard waitersLock(parts.waitersMutex);
        parts.isBusy = false;
        parts.isCheckpointPlanned = false;
        waiters.swap(parts.whenFree);
    }
    parts.becameFree.notify_all();
    answer(std::move(waiters), true);
}

// Whatever fails, to report it included, those who wait for its end go on.
void SqliteStore::checkpoint() {
    try {
        if (const auto carried = parts_->connection.checkpoint(); !carried) {
            report(carried.error());
            return;
        }
    } catch (const std::exception&) {
        return;  // the next commit plans another one
    }
    // The log is now marked empty. Before new frames follow, the disk must know.
    if (fdatasync(parts_->log.number()) != 0) {
        reportLog("cannot be synced");
    }
}

bool SqliteStore::isBusy() const {
    return parts_->isBusy.load();
}

bool SqliteStore::postponeWhileBusy(std::function<void()> block) {
    Parts& parts = *parts_;
    if (!parts.isBusy.load() || !parts.options.runLoop) {
        return false;
    }
    const std::lock_guard lock(parts.waitersMutex);
    // Asked again with the mutex held: with it the background thread takes those who wait,
    // for the last time.
    if (!parts.isBusy) {
        return false;
    }
    parts.whenFree.push_back({[block = std::move(block)](bool /*isFree*/) { block(); }});
    return true;
}

void SqliteStore::syncLog(std::function<void(bool)> done) {
    Parts& parts = *parts_;
    if (!parts.options.runLoop) {
        done(fdatasync(parts.log.number()) == 0);
        return;
    }
    const std::lock_guard lock(parts.waitersMutex);
    parts.whenSynced.push_back({std::move(done)});
    if (parts.whenSynced.size() > 1) {
        return;
    }
    try {
        parts.worker.add([this] { syncForWaiters(); });
    } catch (const std::exception& error) {
        // Left there, it would be waited for by everybody who comes later.
        done = std::move(parts.whenSynced.back().done);
        parts.whenSynced.pop_back();
        reportLog("cannot be synced: ", error.what());
        parts.options.runLoop->post([done = std::move(done)] { done(false); });
    }
}

void SqliteStore::syncForWaiters() {
    Parts& parts = *parts_;
    std::list<Waiter> waiters;
    {
        const std::lock_guard lock(parts.waitersMutex);
        // Before the sync: who comes during it may have committed too late for it and needs another.
        waiters.swap(parts.whenSynced);
    }
    const bool isSynced = fdatasync(parts.log.number()) == 0;
    if (!isSynced) {
        reportLog("cannot be synced");
    }
    answer(std::move(waiters), isSynced);
}

// On the background thread. What they wait with stays in the store until its block runs: they are answered,
// and destroyed, on the run loop only.
void SqliteStore::answer(std::list<Waiter> waiters, bool outcome) {
    Parts& parts = *parts_;
    const std::size_t count = waiters.size();
    for (Waiter& waiter : waiters) {
        waiter.outcome = outcome;
    }
    {
        const std::lock_guard lock(parts.waitersMutex);
        parts.due.splice(parts.due.end(), waiters);
    }
    for (std::size_t posted = 0; posted < count && !parts.isEnding;) {
        try {
            parts.options.runLoop->post([weak = weak_from_this()] {
                if (const auto self = weak.lock()) {
                    self->answerNext();
                }
            });
            ++posted;
        } catch (const std::bad_alloc&) {
            // Nobody else would ever tell them.
            std::this_thread::sleep_for(kWaitForMemory);
        }
    }
}

void SqliteStore::answerNext() {
    std::list<Waiter> next;
    {
        const std::lock_guard lock(parts_->waitersMutex);
        next.splice(next.end(), parts_->due, parts_->due.begin());
    }
    next.front().done(next.front().outcome);
}

}  // namespace xel
