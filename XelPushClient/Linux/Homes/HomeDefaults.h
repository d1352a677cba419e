#pragma once

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "XelPushClient/Linux/Homes/OpenHome.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// A home's settings in its store. All of them are kept in memory; what changes is written by `synchronize`,
/// of an array that was appended to only what is new.
///
/// In a store of many homes the turns that end while the run loop goes through what is due share a write.
/// With `Durability::PowerCut` a turn's answer comes after a file sync on another thread; with `Memory` a
/// turn writes nothing. What a write failed to store is tried again with the next one of the store's, and
/// half a minute later by itself. A value that cannot be stored (nested deeper than `kDeepestStoredValue`)
/// makes `synchronize` return false; the rest is stored. Thread: as the port says.
class HomeDefaults final : public NSUserDefaults,
                           public StoreWriteRider,
                           public std::enable_shared_from_this<HomeDefaults> {
public:
    /// Takes what is stored. A value that is damaged reads as absent and is reported.
    [[nodiscard]] static std::shared_ptr<HomeDefaults> open(
        std::shared_ptr<OpenHome> home, const std::vector<std::pair<std::string, std::string>>& stored);

    HomeDefaults(const HomeDefaults&) = delete;
    HomeDefaults& operator=(const HomeDefaults&) = delete;

    [[nodiscard]] std::optional<Value> objectForKey(std::string_view key) const override;
    [[nodiscard]] bool boolForKey(std::string_view key) const override;
    void setObject(std::string_view key, Value value) override;
    void removeObject(std::string_view key) override;
    void appendToArray(std::string_view key, std::span<const std::string_view> texts,
                       std::size_t mostKept) override;
    [[nodiscard]] bool synchronize() override;
    void synchronizeTurn(std::function<void(bool)> done) override;

    void writeTo(StoreChangeWriter& writer) override;
    void wasWritten(bool isWritten) override;
    void turnDidEnd() override;

private:
    struct Setting {
        Value value;
        bool isPresent = false;
        bool isDirty = false;
        /// While only that is dirty: what was appended, and how much is kept of all.
        std::vector<std::string> appended;
        std::size_t mostKept = 0;
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
    };
    // Settings are never erased from it: what points to one stays valid.
    using Settings = std::unordered_map<std::string, Setting, Hash, std::equal_to<>>;
    using Entry = Settings::value_type;

    explicit HomeDefaults(std::shared_ptr<OpenHome> home);
    [[nodiscard]] Entry& entryForWriting(std::string_view key);
    void markDirty(Entry& entry);
    void markWholeDirty(Entry& entry);
    void writeSetting(Entry& entry, StoreChangeWriter& writer);
    [[nodiscard]] bool write();
    void syncTurn(const std::vector<Entry*>& written, std::function<void(bool)> done);

    const std::shared_ptr<OpenHome> home_;
    HomeStore& store_;

    mutable std::shared_mutex mutex_;  // readers on other threads against the run loop's writes
    Settings settings_;

    // The run loop's own.
    std::vector<Entry*> dirty_;
    std::vector<Entry*> unstorable_;
    std::string encoded_;
    std::vector<std::string_view> texts_;
    bool isRiding_ = false;
    bool isTurnWritten_ = false;
    std::vector<std::function<void(bool)>> turns_;
    /// Written since the turns wait, and perhaps not on the disk.
    std::vector<Entry*> unsynced_;
};

}  // namespace xel
