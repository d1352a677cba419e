#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/NSFileManager.h"

namespace xel {

/// Files in memory; every folder exists. From any thread.
class FakeFileManager final : public NSFileManager {
public:
    [[nodiscard]] Result<void> moveItem(const std::string& from, const std::string& to) override;
    [[nodiscard]] Result<void> writeNewFile(std::string_view content, const std::string& path) override;

    /// While set, every move and every write fails, as on a full disk.
    void setFailing(bool isFailing);

    /// Puts a file there, as another program would.
    void put(const std::string& path, std::string content);
    void remove(const std::string& path);
    [[nodiscard]] bool exists(const std::string& path) const;
    /// A file's content; none when there is no such file.
    [[nodiscard]] std::optional<std::string> contents(const std::string& path) const;
    /// All files by their paths.
    [[nodiscard]] std::map<std::string, std::string> files() const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::string> files_;
    bool isFailing_ = false;
};

}  // namespace xel
