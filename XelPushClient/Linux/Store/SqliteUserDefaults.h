#pragma once

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/SqliteStore.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// A home's settings in its store. All of them are kept in memory; what changes is written by `synchronize`,
/// each key into its own row, in place.
///
/// While the store's log is carried over, a turn's commit waits without holding the run loop up, and
/// `synchronize` waits. With `Durability::PowerCut` a turn's answer comes after a file sync on the store's
/// own thread. A value that cannot be stored (nested deeper than `kDeepestStoredValue`) makes `synchronize`
/// return false; the rest is stored. Thread: as the port says.
class SqliteUserDefaults final : public NSUserDefaults,
                                 public std::enable_shared_from_this<SqliteUserDefaults> {
public:
    /// Reads everything. A value that is damaged reads as absent and is reported to the store's problem
    /// handler.
    [[nodiscard]] static Result<std::shared_ptr<SqliteUserDefaults>> load(std::shared_ptr<SqliteStore> store);

    ~SqliteUserDefaults() override;
    SqliteUserDefaults(const SqliteUserDefaults&) = delete;
    SqliteUserDefaults& operator=(const SqliteUserDefaults&) = delete;

    [[nodiscard]] std::optional<Value> objectForKey(std::string_view key) const override;
    [[nodiscard]] bool boolForKey(std::string_view key) const override;
    void setObject(std::string_view key, Value value) override;
    void removeObject(std::string_view key) override;
    void appendToArray(std::string_view key, std::span<const std::string_view> texts,
                       std::size_t mostKept) override;
    [[nodiscard]] bool synchronize() override;
    void synchronizeTurn(std::function<void(bool)> done) override;

private:
    struct Setting {
        Value value;
        bool isPresent = false;
        bool isDirty = false;
        std::int64_t row = 0;  // 0 for none
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
    };
    // Settings are never erased from it: what points to one stays valid.
    using Settings = std::unordered_map<std::string, Setting, Hash, std::equal_to<>>;
    using Entry = Settings::value_type;

    explicit SqliteUserDefaults(std::shared_ptr<SqliteStore> store);
    [[nodiscard]] Result<void> loadAll();
    [[nodiscard]] Entry& entryForWriting(std::string_view key);
    void markDirty(Entry& entry);
    [[nodiscard]] int store(Entry& entry);
    void commitTurn(std::function<void(bool)> done);
    void writingSucceeded();

    std::shared_ptr<SqliteStore> store_;
    SqliteStatement insert_;
    SqliteStatement update_;
    SqliteStatement remove_;

    mutable std::shared_mutex mutex_;  // readers on other threads against the run loop's writes
    Settings settings_;

    // The run loop's own.
    std::vector<Entry*> dirty_;
    std::vector<std::pair<Entry*, std::int64_t>> newRows_;
    std::vector<Entry*> unstorable_;
    std::string encoded_;
};

}  // namespace xel
