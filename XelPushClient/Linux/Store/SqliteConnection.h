#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"

namespace xel {

/// The connection to a store's database: opens it, checks it, brings its tables about, and runs transactions.
///
/// The database is in write-ahead mode and locked for good by this connection, so that a commit costs one
/// write and no lock, and is not synchronised with the disk: it survives a killed process. `checkpoint`
/// synchronises. Thread: one at a time.
class SqliteConnection {
public:
    static constexpr int kSchemaVersion = 1;

    SqliteConnection() = default;
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;
    ~SqliteConnection();

    /// The file exists, perhaps empty. Errors are `StoreErrorCode`s; Damaged ones leave the file as it was.
    [[nodiscard]] Result<void> open(const std::string& path);

    [[nodiscard]] sqlite3* handle() const { return database_.get(); }
    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] int begin() { return begin_.run(); }
    [[nodiscard]] int end() { return commit_.run(); }
    void giveUp();

    /// Frames in the log, as of the last commit.
    [[nodiscard]] int framesInLog() const { return framesInLog_; }

    /// Carries the log over into the database, synchronising both, and empties the log.
    [[nodiscard]] Result<void> checkpoint();

    /// What SQLite's code means for this store, in words.
    [[nodiscard]] NSError errorFor(int code) const;

private:
    struct Close {
        void operator()(sqlite3* database) const;
    };

    [[nodiscard]] int execute(const char* sql);
    [[nodiscard]] Result<std::int64_t> ask(const char* sql);
    [[nodiscard]] Result<void> setUp();
    [[nodiscard]] Result<void> checkOrMakeSchema();
    [[nodiscard]] Result<void> checkSoundness();

    std::string path_;
    std::unique_ptr<sqlite3, Close> database_;
    SqliteStatement begin_;
    SqliteStatement commit_;
    SqliteStatement rollback_;
    int framesInLog_ = 0;
};

}  // namespace xel
