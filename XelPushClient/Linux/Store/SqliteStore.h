#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/Durability.h"

struct sqlite3;

namespace xel {

class NSRunLoop;

struct SqliteStoreOptions {
    /// The folder, made with mode 0700 when it is missing: for a service, one below the XDG state folder.
    std::string folder;
    /// The file's name in it, without ".db"; one for each home.
    std::string name = "home";
    Durability durability = Durability::ProcessKill;
    /// The home's run loop, which outlives the store: where answers that take a while arrive. Without one the
    /// caller waits for them.
    std::shared_ptr<NSRunLoop> runLoop;
    /// Told what went wrong behind the caller's back: a damaged file that was set aside, a commit that
    /// failed, a checkpoint that failed. From any thread, with the store locked: it must not call the store.
    std::function<void(const NSError&)> problemHandler;
};

/// Work that the store's owner put off and that joins the next commit.
class SqliteCommitRider {
public:
    virtual ~SqliteCommitRider() = default;

    [[nodiscard]] virtual bool wantsToRide() const = 0;
    /// Writes, inside a transaction, and returns SQLite's code.
    [[nodiscard]] virtual int ride() = 0;
    /// The transaction was committed.
    virtual void arrive() = 0;
};

/// A home's database file, in SQLite: one owner, one connection, one background thread.
///
/// Files: "<name>.db" (mode 0600), its log "<name>.db-wal", and "<name>.lock", which marks the owner. A
/// commit is one write into the log; it survives a killed process. When the log has grown, the background
/// thread carries it over into the database with the file syncs that make this safe against a power cut; the
/// run loop does none. Thread: commits on the home's run loop.
class SqliteStore final : public std::enable_shared_from_this<SqliteStore> {
public:
    /// Frames (pages) in the log at which it is carried over.
    static constexpr int kFramesBeforeCheckpoint = 2000;
    /// Frames at which commits wait until that is done, should the background thread lag behind.
    static constexpr int kMostFrames = 4 * kFramesBeforeCheckpoint;

    /// Opens or makes the store. A damaged file is set aside and a new one made: see `damageReport`. The
    /// errors are those of `StoreErrorCode`. Reads from the disk, and so blocks, and syncs when it makes a
    /// file: for the start.
    [[nodiscard]] static Result<std::shared_ptr<SqliteStore>> open(SqliteStoreOptions options);

    /// Whether `open` would find a sound store there that nobody else has open, for programs that only
    /// look: a damaged one is left as it is. The file exists.
    [[nodiscard]] static Result<void> examine(const std::string& folder, const std::string& name = "home");

    ~SqliteStore();
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    /// What was found and where it went, when `open` had to set a damaged file aside.
    [[nodiscard]] const std::optional<NSError>& damageReport() const;
    [[nodiscard]] const std::string& path() const;
    [[nodiscard]] Durability durability() const;
    [[nodiscard]] const std::shared_ptr<NSRunLoop>& runLoop() const;

    /// Runs the work, which answers SQLite's code, as one commit with what rides along. A single statement
    /// needs no transaction around it. Waits while the log is being carried over.
    template <class Work>
    [[nodiscard]] Result<void> commit(bool isSingleStatement, Work&& work) {
        const Access access(*this);
        try {
            int code = beginCommit(isSingleStatement);
            if (code == kSuccess) {
                code = work();
            }
            return endCommit(code);
        } catch (...) {
            abandonCommit();  // or the next one would begin inside this one
            throw;
        }
    }

    /// For reading, and for preparing statements. Waits as `commit` does.
    class Access {
    public:
        explicit Access(SqliteStore& store);
        Access(const Access&) = delete;
        Access& operator=(const Access&) = delete;
        ~Access();

    private:
        SqliteStore& store_;
    };
    [[nodiscard]] sqlite3* connection() const;
    [[nodiscard]] NSError errorFor(int code) const;

    /// One rider; null for none. It must outlive the store or be taken off.
    void setRider(SqliteCommitRider* rider);

    /// Whether the log is being carried over, so that a commit would have to wait.
    [[nodiscard]] bool isBusy() const;

    /// When a commit would have to wait, keeps the block, posts it to the run loop once the store is free,
    /// and answers true. Never true without a run loop.
    [[nodiscard]] bool postponeWhileBusy(std::function<void()> block);

    /// Synchronises everything committed so far with the disk, on the background thread, and posts the
    /// outcome to the run loop; without one it waits and answers inside the call.
    void syncLog(std::function<void(bool)> done);

    void report(const NSError& problem) const;

private:
    struct Waiter;
    struct Parts;

    static constexpr int kSuccess = 0;

    explicit SqliteStore(std::unique_ptr<Parts> parts);
    [[nodiscard]] int beginCommit(bool isSingleStatement);
    [[nodiscard]] Result<void> endCommit(int code);
    void abandonCommit();
    void planCheckpoint();
    void checkpoint();
    void reportLog(std::string_view what, std::string_view reason = {}) const;
    void waitWhile(const std::atomic<bool>& flag);
    void carryLogOver();
    void syncForWaiters();
    void answer(std::list<Waiter> waiters, bool outcome);
    void answerNext();

    std::unique_ptr<Parts> parts_;
};

}  // namespace xel
