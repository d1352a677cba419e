#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/LogSink.h"

namespace xel {

/// Keeps log lines for the test to read. From any thread.
class RecordingLogSink final : public LogSink {
public:
    void write(std::string_view line) override {
        const std::lock_guard lock(mutex_);
        lines_.emplace_back(line);
    }

    [[nodiscard]] std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

    /// Whether a line holds the text.
    [[nodiscard]] bool contains(std::string_view text) const {
        const std::lock_guard lock(mutex_);
        for (const auto& line : lines_) {
            if (line.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    void clear() {
        const std::lock_guard lock(mutex_);
        lines_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace xel
