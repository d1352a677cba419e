#pragma once

#include <optional>
#include <string>

namespace xel {

/// Where a program's files go by the XDG base directory rules: "$XDG_STATE_HOME/xelpush/<name>" for its
/// state, XDG_DATA_HOME for its documents, XDG_CACHE_HOME for what it could fetch again and XDG_CONFIG_HOME
/// for the user's settings, or below ~/.local/state, ~/.local/share, ~/.cache and ~/.config. A variable that
/// holds a relative path does not count. None when the user has no home folder.
[[nodiscard]] std::optional<std::string> defaultStateFolder(const std::string& name);
[[nodiscard]] std::optional<std::string> defaultDocumentsFolder(const std::string& name);
[[nodiscard]] std::optional<std::string> defaultCacheFolder(const std::string& name);
[[nodiscard]] std::optional<std::string> defaultConfigFolder(const std::string& name);

/// The running program's name, fit to name a folder.
[[nodiscard]] std::string programName();
/// The name that was asked for, or the program's when that is empty.
[[nodiscard]] std::string orProgramName(std::string wanted);

}  // namespace xel
