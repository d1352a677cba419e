#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/Store/HomeCopy.h"
#include "XelPushClient/Linux/Store/SqliteImage.h"

namespace xel {

/// A database of an older schema, which is sound: the first one held one home, neither had sums. Results are
/// SQLite's codes. Thread: one.
class OldStore {
public:
    [[nodiscard]] int open(const std::string& path);

    [[nodiscard]] std::uint64_t run() const { return run_; }
    [[nodiscard]] std::uint64_t store() const { return store_; }

    /// Passes each home on, until one answers another code than SQLITE_OK.
    using TakeHome = std::function<int(std::string_view name, const HomeCopy& contents)>;
    [[nodiscard]] int forEachHome(const TakeHome& take);

    [[nodiscard]] std::string words() const { return image_.words(); }

private:
    [[nodiscard]] int prepare();
    [[nodiscard]] int readJournal();
    [[nodiscard]] int read(std::int64_t home, HomeCopy& contents);
    [[nodiscard]] int readOutbox(std::int64_t id, HomeCopy::Client& client);

    SqliteImage image_;
    std::uint64_t run_ = 0;
    std::uint64_t store_ = 0;
    SqliteStatement homes_;
    SqliteStatement settings_;
    SqliteStatement clients_;
    SqliteStatement outbox_;
};

}  // namespace xel
