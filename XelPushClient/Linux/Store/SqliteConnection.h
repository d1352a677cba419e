#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"

namespace xel {

/// The connection to a store's database: opens it, checks it, brings its tables about, and runs transactions.
///
/// The database is locked for good by this connection; each transaction is synchronised with the disk.
/// Thread: one at a time.
class SqliteConnection {
public:
    static constexpr int kSchemaVersion = 3;

    SqliteConnection() = default;
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;
    ~SqliteConnection();

    /// The file exists, perhaps empty. Errors are `StoreErrorCode`s; Damaged ones leave the file as it was.
    [[nodiscard]] Result<void> open(const std::string& path);
    void close();

    /// Whether the file has the tables of an older schema, which are as sound.
    [[nodiscard]] bool isOld() const { return isOld_; }

    [[nodiscard]] sqlite3* handle() const { return database_.get(); }
    [[nodiscard]] const std::string& path() const { return path_; }

    [[nodiscard]] int begin() { return begin_.run(); }
    [[nodiscard]] int end() { return commit_.run(); }
    void giveUp();

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
    [[nodiscard]] Result<void> makeTables();
    [[nodiscard]] Result<void> checkSoundness(std::int64_t version);

    [[nodiscard]] Result<void> checkTables(std::int64_t version);

    std::string path_;
    bool isOld_ = false;
    std::unique_ptr<sqlite3, Close> database_;
    SqliteStatement begin_;
    SqliteStatement commit_;
    SqliteStatement rollback_;
};

}  // namespace xel
