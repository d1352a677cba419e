#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// Where the service keeps its state when it is not told: $XDG_STATE_HOME/xelpush-sandbox, or
/// ~/.local/state/xelpush-sandbox. Throws SandboxError when neither variable says where that is.
std::filesystem::path defaultStateFolder();

/// The same with another name than "xelpush-sandbox".
std::filesystem::path defaultStateFolder(std::string_view name);

/// The folder that holds the service's state, private to its user (0700), locked for one service at a time.
///
/// The lock goes with `release`, the object or the process, however that ends.
class StateFolder {
public:
    /// Makes the folder when it is missing and locks it. Throws SandboxError when it cannot be made or
    /// written, belongs to somebody else, or is locked by another service.
    /// The owner is what such errors call the service.
    explicit StateFolder(std::filesystem::path path, std::string_view owner = "local push service");
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    /// Gives the lock up before the object ends. Nothing may be written to the folder after that.
    void release();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path file(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
    int lock_{-1};
};

/// Replaces the file in one step (a new file, 0600, renamed over the old one). Throws SandboxError.
void writePrivateFile(const std::filesystem::path& file, std::string_view content);

/// The whole content; nothing when there is no such file. Throws SandboxError when it cannot be read.
std::optional<std::string> readWholeFile(const std::filesystem::path& file);

}  // namespace xel::sandbox
