#pragma once

#include <functional>
#include <string>
#include <thread>

namespace xel {

/// Starts a thread on which no signal is handled, so that the host's handlers run on the host's own threads
/// only, and a broken connection inside a library raises no SIGPIPE there. The name, at most 15 characters,
/// shows in debuggers.
[[nodiscard]] std::thread startBackgroundThread(std::string name, std::function<void()> work);

}  // namespace xel
