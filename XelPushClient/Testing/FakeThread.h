#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/NSThread.h"

namespace xel {

/// The stack that the test sets, the same on every thread, and who asked for it. From any thread.
class FakeThread final : public NSThread {
public:
    [[nodiscard]] std::vector<std::string> callStackSymbols() override {
        const std::lock_guard lock(mutex_);
        asker_ = std::this_thread::get_id();
        return symbols_;
    }

    void setCallStackSymbols(std::vector<std::string> symbols) {
        const std::lock_guard lock(mutex_);
        symbols_ = std::move(symbols);
    }

    /// The thread that asked last; none if none has.
    [[nodiscard]] std::optional<std::thread::id> asker() const {
        const std::lock_guard lock(mutex_);
        return asker_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> symbols_ = {"0 host crash + 12", "1 host main + 34"};
    std::optional<std::thread::id> asker_;
};

}  // namespace xel
