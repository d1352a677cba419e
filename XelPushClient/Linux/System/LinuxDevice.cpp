#include "XelPushClient/Linux/System/LinuxDevice.h"

#include <fstream>
#include <sstream>

#include <sys/utsname.h>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

/// In the order in which os-release(5) has them looked for.
constexpr const char* kOsReleaseFiles[] = {"/etc/os-release", "/usr/lib/os-release"};

std::string versionOfDistribution() {
    for (const char* path : kOsReleaseFiles) {
        const std::ifstream file(path);
        if (file) {
            std::ostringstream text;
            text << file.rdbuf();
            return versionIdOfOsRelease(text.str());
        }
    }
    return {};
}

std::string withoutQuotes(std::string_view value) {
    const bool isQuoted =
        value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
    return std::string(isQuoted ? value.substr(1, value.size() - 2) : value);
}

std::string_view trimmed(std::string_view line) {
    constexpr std::string_view kWhiteSpace = " \t\r";
    const auto first = line.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

LinuxDevice::LinuxDevice() : systemVersion_(versionOfDistribution()) {
    utsname names{};
    if (::uname(&names) != 0) {
        return;
    }
    machineIdentifier_ = names.machine;
    if (systemVersion_.empty()) {
        systemVersion_ = names.release;
    }
}

std::string versionIdOfOsRelease(std::string_view text) {
    constexpr std::string_view kName = "VERSION_ID=";
    std::string version;
    for (const std::string_view line : splitString(text, "\n")) {
        const std::string_view assignment = trimmed(line);
        if (assignment.starts_with(kName)) {
            version = withoutQuotes(assignment.substr(kName.size()));  // the last one counts, as in a shell
        }
    }
    return version;
}

}  // namespace xel
