#include "XelPushClient/Linux/Homes/HomeDefaults.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"

namespace xel {

std::shared_ptr<HomeDefaults> HomeDefaults::open(
    std::shared_ptr<OpenHome> home, const std::vector<std::pair<std::string, std::string>>& stored) {
    std::shared_ptr<HomeDefaults> defaults(new HomeDefaults(std::move(home)));
    for (const auto& [key, octets] : stored) {
        auto value = decodeValue(octets);
        if (value) {
            Setting& setting = defaults->settings_[key];
            setting.value = std::move(value).value();
            setting.isPresent = true;
        } else {
            defaults->store_.report(
                makeStoreError(StoreErrorCode::Damaged,
                               formatted("the setting \"%@\" of \"%@\" in %@ is damaged and reads as absent",
                                         key, defaults->home_->name(), defaults->store_.path())));
        }
    }
    return defaults;
}

HomeDefaults::HomeDefaults(std::shared_ptr<OpenHome> home) : home_(std::move(home)), store_(home_->store()) {}

// ---- Reading.

std::optional<Value> HomeDefaults::objectForKey(std::string_view key) const {
    const std::shared_lock lock(mutex_);
    const auto found = settings_.find(key);
    if (found == settings_.end() || !found->second.isPresent) {
        return std::nullopt;
    }
    return found->second.value;
}

bool HomeDefaults::boolForKey(std::string_view key) const {
    const std::shared_lock lock(mutex_);
    const auto found = settings_.find(key);
    return found != settings_.end() && found->second.isPresent && found->second.value.truth();
}

// ---- Changing.

HomeDefaults::Entry& HomeDefaults::entryForWriting(std::string_view key) {
    const auto found = settings_.find(key);
    return found != settings_.end() ? *found : *settings_.try_emplace(std::string(key)).first;
}

void HomeDefaults::markDirty(Entry& entry) {
    if (!entry.second.isDirty) {
        dirty_.push_back(&entry);
        entry.second.isDirty = true;
    }
}

void HomeDefaults::markWholeDirty(Entry& entry) {
    markDirty(entry);
    entry.second.appended.clear();
}

void HomeDefaults::setObject(std::string_view key, Value value) {
    const std::unique_lock lock(mutex_);
    Entry& entry = entryForWriting(key);
    Setting& setting = entry.second;
    if (setting.isPresent && setting.value == value) {
        return;
    }
    setting.value = std::move(value);
    setting.isPresent = true;
    markWholeDirty(entry);
}

void HomeDefaults::removeObject(std::string_view key) {
    const std::unique_lock lock(mutex_);
    const auto found = settings_.find(key);
    if (found == settings_.end() || !found->second.isPresent) {
        return;
    }
    found->second.value = Value();
    found->second.isPresent = false;
    markWholeDirty(*found);
}

void HomeDefaults::appendToArray(std::string_view key, std::span<const std::string_view> texts,
                                 std::size_t mostKept) {
    const std::unique_lock lock(mutex_);
    Entry& entry = entryForWriting(key);
    Setting& setting = entry.second;
    Array* array = setting.isPresent ? setting.value.asArray() : nullptr;
    // What is dirty as a whole, or was no array, stays so; one that was cut by another rule becomes so.
    const bool isAlone =
        array != nullptr && (!setting.isDirty || (!setting.appended.empty() && setting.mostKept == mostKept));
    if (array == nullptr) {
        array = &setting.value.emplace<Array>();
    }
    appendTexts(*array, texts, mostKept);
    setting.isPresent = true;
    if (!isAlone || texts.empty()) {
        markWholeDirty(entry);
        return;
    }
    markDirty(entry);
    setting.appended.insert(setting.appended.end(), texts.begin(), texts.end());
    setting.mostKept = mostKept;
    if (setting.appended.size() >= mostKept) {
        setting.appended.clear();  // the whole is no longer than that
    }
}

// ---- Writing. Only this thread changes settings, so it reads them here without the lock.

void HomeDefaults::writeTo(StoreChangeWriter& writer) {
    unstorable_.clear();
    if (dirty_.empty()) {
        return;
    }
    unstorable_.reserve(dirty_.size());  // or `wasWritten` might throw behind a write
    writer.changesOf(home_->name());
    for (Entry* const entry : dirty_) {
        writeSetting(*entry, writer);
    }
}

void HomeDefaults::writeSetting(Entry& entry, StoreChangeWriter& writer) {
    const Setting& setting = entry.second;
    if (!setting.isPresent) {
        writer.removeSetting(entry.first);
        return;
    }
    if (!setting.appended.empty()) {
        texts_.assign(setting.appended.begin(), setting.appended.end());
        writer.appendToSetting(entry.first, texts_, setting.mostKept);
        return;
    }
    encoded_.clear();
    if (appendEncodedValue(setting.value, encoded_)) {
        writer.setSetting(entry.first, encoded_);
    } else {
        unstorable_.push_back(&entry);
    }
}

void HomeDefaults::wasWritten(bool isWritten) {
    isTurnWritten_ = isWritten;
    if (!isWritten) {
        return;
    }
    isRiding_ = false;
    if (!turns_.empty() && store_.durability() == Durability::PowerCut) {
        unsynced_.insert(unsynced_.end(), dirty_.begin(), dirty_.end());
    }
    for (Entry* const entry : dirty_) {
        entry->second.isDirty = false;
        entry->second.appended.clear();
    }
    dirty_.clear();
    for (Entry* const entry : unstorable_) {
        isTurnWritten_ = false;
        store_.report(
            makeStoreError(StoreErrorCode::WriteFailed,
                           "the setting \"" + entry->first + "\" is nested too deeply to be stored"));
        markDirty(*entry);
    }
}

bool HomeDefaults::synchronize() {
    if (dirty_.empty()) {
        return true;
    }
    const bool isWritten = write();
    if (isWritten) {
        store_.syncInBackground();
    }
    return isWritten;
}

bool HomeDefaults::write() {
    if (isRiding_) {
        return store_.write(nullptr).isOk() && dirty_.empty();
    }
    const bool isWritten = store_.write([this](StoreChangeWriter& writer) { writeTo(writer); }).isOk();
    wasWritten(isWritten);
    if (!isWritten) {
        isRiding_ = true;
        store_.addRider(weak_from_this());
    }
    return isWritten && dirty_.empty();
}

void HomeDefaults::synchronizeTurn(std::function<void(bool)> done) {
    if (dirty_.empty() || store_.durability() == Durability::Memory) {
        // What a turn stores may be lost there; the next setting carries it along.
        done(true);
        return;
    }
    if (store_.isShared()) {
        turns_.push_back(std::move(done));
        if (turns_.size() == 1) {
            store_.addTurn(weak_from_this(), std::exchange(isRiding_, true));
        }
        return;
    }
    // A copy: a write that succeeds empties the list, and the sync behind it may still fail.
    const auto written = store_.durability() == Durability::PowerCut ? dirty_ : std::vector<Entry*>();
    const bool isWritten = write();
    if (isWritten && store_.durability() == Durability::PowerCut) {
        syncTurn(written, std::move(done));
    } else {
        done(isWritten);
    }
}

void HomeDefaults::turnDidEnd() {
    const bool isWritten = isTurnWritten_;
    const auto written = std::exchange(unsynced_, {});
    for (auto& done : std::exchange(turns_, {})) {
        if (isWritten && store_.durability() == Durability::PowerCut) {
            syncTurn(written, std::move(done));
        } else {
            done(isWritten);
        }
    }
}

void HomeDefaults::syncTurn(const std::vector<Entry*>& written, std::function<void(bool)> done) {
    store_.sync([weak = weak_from_this(), written, done = std::move(done)](bool isSynced) {
        const auto self = weak.lock();
        if (self && !isSynced) {
            // They are in the journal and perhaps not on the disk, so the next write has them once more.
            std::for_each(written.begin(), written.end(),
                          [&](Entry* entry) { self->markWholeDirty(*entry); });
        }
        if (self) {
            done(isSynced);
        }
    });
}

}  // namespace xel
