#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace xel {

/// Who the client was when it was last looked at: what a crash report says of it.
struct IdentitySnapshot {
    std::optional<std::string> appId;
    std::optional<std::string> apiKey;
    std::optional<std::string> appVersion;
    std::optional<std::string> deviceId;
    /// Milliseconds since 1970; 0 when no launch was counted.
    std::int64_t launchTime = 0;
};

/// The newest snapshot, for threads that must not touch the client. From any thread.
class SharedIdentity {
public:
    void publish(IdentitySnapshot snapshot) {
        const std::lock_guard lock(mutex_);
        snapshot_ = std::move(snapshot);
    }
    [[nodiscard]] IdentitySnapshot copy() const {
        const std::lock_guard lock(mutex_);
        return snapshot_;
    }

private:
    mutable std::mutex mutex_;
    IdentitySnapshot snapshot_;
};

}  // namespace xel
