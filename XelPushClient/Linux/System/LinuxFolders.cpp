#include "XelPushClient/Linux/System/LinuxFolders.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "XelPushClient/Linux/Process/EnvironmentSettings.h"

namespace xel {

namespace {

constexpr const char* kProduct = "xelpush";

std::optional<std::string> absolutePathOfVariable(const char* name) {
    auto value = environmentVariable(name);
    // Another path would name another folder wherever the process is started, and with it another store.
    return value && value->front() == '/' ? value : std::nullopt;
}

std::optional<std::string> homeFolder() {
    if (auto home = absolutePathOfVariable("HOME")) {
        return home;
    }
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
        found->pw_dir == nullptr || *found->pw_dir != '/') {
        return std::nullopt;
    }
    return found->pw_dir;
}

std::optional<std::string> folderBelow(const char* variable, const char* belowHome, const std::string& name) {
    auto base = absolutePathOfVariable(variable);
    if (!base) {
        const auto home = homeFolder();
        if (!home) {
            return std::nullopt;
        }
        base = *home + '/' + belowHome;
    }
    return *base + '/' + kProduct + '/' + name;
}

}  // namespace

std::optional<std::string> defaultStateFolder(const std::string& name) {
    return folderBelow("XDG_STATE_HOME", ".local/state", name);
}

std::optional<std::string> defaultDocumentsFolder(const std::string& name) {
    return folderBelow("XDG_DATA_HOME", ".local/share", name);
}

std::optional<std::string> defaultCacheFolder(const std::string& name) {
    return folderBelow("XDG_CACHE_HOME", ".cache", name);
}

std::optional<std::string> defaultConfigFolder(const std::string& name) {
    return folderBelow("XDG_CONFIG_HOME", ".config", name);
}

std::string programName() {
    std::string name(program_invocation_short_name);
    name.erase(std::remove(name.begin(), name.end(), '/'), name.end());
    return name.empty() || name.front() == '.' ? "default" : name;
}

std::string orProgramName(std::string wanted) {
    return wanted.empty() ? programName() : std::move(wanted);
}

}  // namespace xel
