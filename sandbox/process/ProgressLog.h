#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// Takes one line of progress, without its line feed. Called by any thread, one line at a time.
using LogSink = std::function<void(std::string_view line)>;

/// Where the service says what it does. Safe to use from any thread; never given a secret, except the new
/// credentials, once.
class ProgressLog {
public:
    /// An empty sink means standard error.
    explicit ProgressLog(LogSink sink);

    void write(std::string_view line);

private:
    std::mutex mutex_;
    LogSink sink_;
};

/// `text` with every control character replaced by "?": a client id or a topic must not forge a log line.
std::string withoutControlCharacters(std::string_view text);

}  // namespace xel::sandbox
