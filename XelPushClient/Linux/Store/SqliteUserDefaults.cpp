#include "XelPushClient/Linux/Store/SqliteUserDefaults.h"

#include <algorithm>
#include <mutex>

#include <sqlite3.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"

namespace xel {

Result<std::shared_ptr<SqliteUserDefaults>> SqliteUserDefaults::load(std::shared_ptr<SqliteStore> store) {
    std::shared_ptr<SqliteUserDefaults> defaults(new SqliteUserDefaults(std::move(store)));
    if (auto loaded = defaults->loadAll(); !loaded) {
        return loaded.error();
    }
    return defaults;
}

SqliteUserDefaults::SqliteUserDefaults(std::shared_ptr<SqliteStore> store) : store_(std::move(store)) {}

SqliteUserDefaults::~SqliteUserDefaults() {
    // Statements belong to the connection, which the store's own thread may be using.
    const SqliteStore::Access access(*store_);
    insert_ = {};
    update_ = {};
    remove_ = {};
}

Result<void> SqliteUserDefaults::loadAll() {
    const SqliteStore::Access access(*store_);
    sqlite3* const database = store_->connection();
    SqliteStatement all;
    for (const auto& [statement, sql] :
         {std::pair(&insert_, "INSERT INTO defaults(key, value) VALUES(?1, ?2)"),
          std::pair(&update_, "UPDATE defaults SET value=?1 WHERE id=?2"),
          std::pair(&remove_, "DELETE FROM defaults WHERE id=?1"),
          std::pair(&all, "SELECT id, key, value FROM defaults")}) {
        if (const int code = statement->prepare(database, sql); code != SQLITE_OK) {
            return store_->errorFor(code);
        }
    }
    int code = all.step();
    for (; code == SQLITE_ROW; code = all.step()) {
        Setting setting;
        setting.row = all.integer(0);
        const std::string key(all.octets(1));
        auto value = decodeValue(all.octets(2));
        if (value) {
            setting.value = std::move(value).value();
            setting.isPresent = true;
        } else {
            store_->report(makeStoreError(
                StoreErrorCode::Damaged,
                "the setting \"" + key + "\" in " + store_->path() + " is damaged and reads as absent"));
        }
        // A damaged one keeps its row, which the next value takes over: a second row of that key could
        // not be inserted.
        settings_.emplace(key, std::move(setting));
    }
    return code == SQLITE_DONE ? Result<void>() : store_->errorFor(code);
}

std::optional<Value> SqliteUserDefaults::objectForKey(std::string_view key) const {
    const std::shared_lock lock(mutex_);
    const auto found = settings_.find(key);
    if (found == settings_.end() || !found->second.isPresent) {
        return std::nullopt;
    }
    return found->second.value;
}

bool SqliteUserDefaults::boolForKey(std::string_view key) const {
    const std::shared_lock lock(mutex_);
    const auto found = settings_.find(key);
    return found != settings_.end() && found->second.isPresent && found->second.value.truth();
}

SqliteUserDefaults::Entry& SqliteUserDefaults::entryForWriting(std::string_view key) {
    const auto found = settings_.find(key);
    return found != settings_.end() ? *found : *settings_.try_emplace(std::string(key)).first;
}

void SqliteUserDefaults::markDirty(Entry& entry) {
    if (!entry.second.isDirty) {
        dirty_.push_back(&entry);
        entry.second.isDirty = true;
    }
}

void SqliteUserDefaults::setObject(std::string_view key, Value value) {
    const std::unique_lock lock(mutex_);
    Entry& entry = entryForWriting(key);
    Setting& setting = entry.second;
    if (setting.isPresent && setting.value == value) {
        return;
    }
    setting.value = std::move(value);
    setting.isPresent = true;
    markDirty(entry);
}

void SqliteUserDefaults::appendToArray(std::string_view key, std::span<const std::string_view> texts,
                                       std::size_t mostKept) {
    const std::unique_lock lock(mutex_);
    Entry& entry = entryForWriting(key);
    Setting& setting = entry.second;
    Array* array = setting.isPresent ? setting.value.asArray() : nullptr;
    if (array == nullptr) {
        array = &setting.value.emplace<Array>();
    }
    appendTexts(*array, texts, mostKept);
    setting.isPresent = true;
    markDirty(entry);
}

void SqliteUserDefaults::removeObject(std::string_view key) {
    const std::unique_lock lock(mutex_);
    const auto found = settings_.find(key);
    if (found == settings_.end() || !found->second.isPresent) {
        return;
    }
    found->second.value = Value();
    found->second.isPresent = false;
    markDirty(*found);
}

// Only this thread changes settings, so it reads them here without the lock.
int SqliteUserDefaults::store(Entry& entry) {
    const Setting& setting = entry.second;
    if (!setting.isPresent) {
        if (setting.row == 0) {
            return SQLITE_OK;
        }
        remove_.bind(1, setting.row);
        newRows_.emplace_back(&entry, 0);  // which counts when the transaction has been committed
        return remove_.run();
    }
    encoded_.clear();
    if (!appendEncodedValue(setting.value, encoded_)) {
        unstorable_.push_back(&entry);
        return SQLITE_OK;
    }
    // By the row's number: the list of ids, which every turn writes, needs no look-up of its key.
    if (setting.row != 0) {
        update_.bindOctets(1, encoded_);
        update_.bind(2, setting.row);
        return update_.run();
    }
    insert_.bindText(1, entry.first);
    insert_.bindOctets(2, encoded_);
    const int code = insert_.run();
    newRows_.emplace_back(&entry, sqlite3_last_insert_rowid(store_->connection()));
    return code;
}

bool SqliteUserDefaults::synchronize() {
    if (dirty_.empty()) {
        return true;
    }
    newRows_.clear();
    unstorable_.clear();
    // Before the commit: what threw behind a single statement would leave a row that nobody knows of.
    newRows_.reserve(dirty_.size());
    unstorable_.reserve(dirty_.size());
    const auto stored = store_->commit(dirty_.size() == 1, [this] {
        for (Entry* const entry : dirty_) {
            if (const int code = store(*entry); code != SQLITE_OK) {
                return code;
            }
        }
        return SQLITE_OK;
    });
    if (!stored) {
        return false;
    }
    writingSucceeded();
    return dirty_.empty();
}

void SqliteUserDefaults::writingSucceeded() {
    for (const auto& [entry, row] : newRows_) {
        entry->second.row = row;
    }
    for (Entry* const entry : dirty_) {
        entry->second.isDirty = false;
    }
    dirty_.clear();
    for (Entry* const entry : unstorable_) {
        store_->report(
            makeStoreError(StoreErrorCode::WriteFailed,
                           "the setting \"" + entry->first + "\" is nested too deeply to be stored"));
        markDirty(*entry);
    }
}

void SqliteUserDefaults::synchronizeTurn(std::function<void(bool)> done) {
    // A copy for the store only if it takes it; otherwise `done` is still there to be moved.
    const auto commitLater = [weak = weak_from_this(), &done] {
        return [weak, done] {
            if (const auto self = weak.lock()) {
                self->commitTurn(done);
            }
        };
    };
    if (!store_->isBusy() || !store_->postponeWhileBusy(commitLater())) {
        commitTurn(std::move(done));
    }
}

void SqliteUserDefaults::commitTurn(std::function<void(bool)> done) {
    if (store_->durability() == Durability::ProcessKill) {
        done(synchronize());
        return;
    }
    // A copy: a commit that succeeds empties the list, and the sync behind it may still fail.
    const auto written = dirty_;
    if (!synchronize()) {
        done(false);
        return;
    }
    store_->syncLog([weak = weak_from_this(), written, done = std::move(done)](bool isSynced) {
        const auto self = weak.lock();
        if (self && !isSynced) {
            // They are in the log and perhaps not on the disk, so the next commit writes them once more.
            std::for_each(written.begin(), written.end(), [&](Entry* entry) { self->markDirty(*entry); });
        }
        if (self) {
            done(isSynced);
        }
    });
}

}  // namespace xel
