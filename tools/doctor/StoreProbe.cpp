#include "tools/doctor/StoreProbe.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Linux/Homes/StoredHome.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel::tools {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "state folder";
constexpr const char* kStore = "store";
constexpr const char* kStoreFile = "home.db";
constexpr mode_t kOthers = 077;

std::string modeText(mode_t mode) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode & 07777U));
    return text.data();
}

fs::path nearestFolder(fs::path path) {
    while (!path.empty() && path != path.parent_path() && !fs::exists(path)) {
        path = path.parent_path();
    }
    return path;
}

/// What is wrong with the owner and mode of a file or folder; empty when nothing is.
Finding judgeMode(const char* check, const fs::path& path, const struct stat& facts) {
    if (facts.st_uid != ::geteuid()) {
        return foundFailed(check, path.string() + " belongs to another user",
                           "have it given to you, or give another --state-folder", ExitCode::Failure);
    }
    if ((facts.st_mode & kOthers) != 0) {
        return foundFailed(check,
                           path.string() + " is open to other users (mode " + modeText(facts.st_mode) + ")",
                           "close it: chmod go= '" + path.string() + "'", ExitCode::Failure);
    }
    return foundWell(check, path.string() + ", mode " + modeText(facts.st_mode));
}

Finding judgeMissing(const fs::path& folder) {
    const fs::path near = nearestFolder(folder);
    if (::access(near.c_str(), W_OK | X_OK) != 0) {
        return foundFailed(
            kFolder, "'" + folder.string() + "' is not there, and '" + near.string() + "' cannot be written",
            "make it, or give another --state-folder", ExitCode::Failure);
    }
    return foundWell(kFolder, "'" + folder.string() + "' is not there yet; the first command makes it");
}

/// Only looked at: a client would set a damaged file aside.
Finding examineStore(const fs::path& folder) {
    const auto examined = HomeStore::examine(folder.string());
    if (examined) {
        return foundWell(kStore, (folder / kStoreFile).string() + " opens");
    }
    const bool isInUse = examined.error().code == static_cast<std::int64_t>(StoreErrorCode::InUse);
    return foundFailed(kStore, examined.error().localizedDescription(),
                       isInUse
                           ? "end that process, or give another --state-folder"
                           : "a damaged store is set aside by the next command, which keeps what is whole "
                             "of it and otherwise registers anew; any other must be moved away",
                       ExitCode::Failure);
}

}  // namespace

Findings probeStore(const std::string& folder) {
    struct stat facts {};
    if (::stat(folder.c_str(), &facts) != 0) {
        return {judgeMissing(folder), foundSkipped(kStore, kFolder)};
    }
    Findings findings{judgeMode(kFolder, folder, facts)};
    const fs::path file = fs::path(folder) / kStoreFile;
    if (::stat(file.c_str(), &facts) != 0) {
        findings.push_back(foundSkipped(kStore, "a client that has run"));
        return findings;
    }
    Finding mode = judgeMode(kStore, file, facts);
    findings.push_back(mode.state == FindingState::Ok ? examineStore(folder) : std::move(mode));
    return findings;
}

std::vector<std::string> keptTopics(const std::string& folder) {
    HomeStoreOptions options;
    options.folder = folder;
    std::vector<std::string> topics;
    // Only for a store that was found sound: one that is damaged would be set aside.
    if (const auto store = HomeStore::open(std::move(options))) {
        const auto defaults = openStoredHome(store.value()).value().defaults;
        for (const auto& [topic, qos] : defaults->dictionaryForKey(kUserChannelsKey).value_or(Dictionary())) {
            topics.push_back(topic);
        }
    }
    return topics;
}

}  // namespace xel::tools
