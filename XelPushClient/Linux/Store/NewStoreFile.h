#pragma once

#include <string>
#include <utility>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/StoreDatabase.h"

namespace xel {

/// A database that is made beside a store's, to take its place: "<name>.db.new" while it is made,
/// "<name>.db.made" when it is whole and on the disk. Thread: one.
class NewStoreFile {
public:
    /// For the store whose database is at that path.
    explicit NewStoreFile(std::string path) : path_(std::move(path)) {}
    NewStoreFile(const NewStoreFile&) = delete;
    NewStoreFile& operator=(const NewStoreFile&) = delete;
    /// Takes away what did not take its place.
    ~NewStoreFile();

    /// Makes it, with its tables. Errors are `StoreErrorCode`s.
    [[nodiscard]] Result<void> make();
    [[nodiscard]] StoreDatabase& database() { return database_; }

    /// It is whole: with the store's own database gone, it is the store from now on, also for `recover`.
    [[nodiscard]] Result<void> finish();
    /// It takes the place of what is at the store's path. Behind `finish`.
    [[nodiscard]] Result<void> putInPlace();

    /// Puts one into place that a kill has kept from it; otherwise takes away what a kill has left. Whether
    /// it did the former.
    [[nodiscard]] static Result<bool> recover(const std::string& path);

private:
    const std::string path_;
    StoreDatabase database_;
};

}  // namespace xel
