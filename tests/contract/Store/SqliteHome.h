#pragma once

#include <memory>
#include <vector>

#include "XelPushClient/Linux/Store/SqliteSessionMemory.h"
#include "XelPushClient/Linux/Store/SqliteStore.h"
#include "XelPushClient/Linux/Store/SqliteUserDefaults.h"
#include "tests/contract/Store/FailingWrites.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {

/// A place on the disk for a store.
class SqliteHome {
public:
    [[nodiscard]] SqliteStoreOptions options() {
        SqliteStoreOptions options;
        options.folder = folder_.path() + "/state/xelpush";
        options.problemHandler = [this](const NSError& problem) { problems_.push_back(problem); };
        return options;
    }

    [[nodiscard]] std::shared_ptr<SqliteUserDefaults> openDefaults() {
        auto store = SqliteStore::open(options());
        return store ? SqliteUserDefaults::load(store.value()).value() : nullptr;
    }

    [[nodiscard]] std::shared_ptr<SqliteSessionMemory> openMemory() {
        auto store = SqliteStore::open(options());
        return store ? SqliteSessionMemory::load(store.value()).value() : nullptr;
    }

    void setFailingCommits(bool isFailing) { failingWrites_.set(isFailing); }

    [[nodiscard]] std::string databasePath() { return options().folder + "/home.db"; }
    [[nodiscard]] const std::vector<NSError>& problems() const { return problems_; }

private:
    TemporaryFolder folder_;
    FailingWrites failingWrites_;
    std::vector<NSError> problems_;
};

}  // namespace xel::contract
