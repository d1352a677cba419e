#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Linux/Homes/StoredHome.h"
#include "tests/contract/Store/FailingWrites.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {

/// A place on the disk for a store.
class HomeOnDisk {
public:
    [[nodiscard]] HomeStoreOptions options() {
        HomeStoreOptions options;
        options.folder = folder_.path() + "/state/xelpush";
        options.problemHandler = [this](const NSError& problem) { problems_.push_back(problem); };
        return options;
    }

    /// Nothing when the store cannot be opened.
    [[nodiscard]] static StoredHome open(const HomeStoreOptions& options) {
        const auto store = HomeStore::open(options);
        auto home = store ? openStoredHome(store.value()) : Result<StoredHome>(store.error());
        return home ? std::move(home).value() : StoredHome();
    }
    [[nodiscard]] StoredHome open() { return open(options()); }

    void setFailingCommits(bool isFailing) { failingWrites_.set(isFailing); }

    [[nodiscard]] std::string basePath() { return options().folder + "/home"; }
    [[nodiscard]] std::string databasePath() { return basePath() + ".db"; }
    [[nodiscard]] const std::vector<NSError>& problems() const { return problems_; }
    [[nodiscard]] std::vector<std::string> filesSetAside() {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(options().folder)) {
            if (entry.path().filename().string().find(".damaged-") != std::string::npos) {
                found.push_back(entry.path());
            }
        }
        return found;
    }

private:
    TemporaryFolder folder_;
    FailingWrites failingWrites_;
    std::vector<NSError> problems_;
};

}  // namespace xel::contract
