#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/NSUserDefaults.h"
#include "XelPushClient/Testing/FakeDisk.h"

namespace xel {

/// A defaults store on a `FakeDisk`. Dropping it without `synchronize` loses its changes, as a kill does.
/// Thread: as the port says.
class InMemoryUserDefaults final : public NSUserDefaults {
public:
    /// Opens the store of that name; an error while another object owns it.
    [[nodiscard]] static Result<std::shared_ptr<InMemoryUserDefaults>> open(std::shared_ptr<FakeDisk> disk,
                                                                            std::string store = "home");

    ~InMemoryUserDefaults() override;
    InMemoryUserDefaults(const InMemoryUserDefaults&) = delete;
    InMemoryUserDefaults& operator=(const InMemoryUserDefaults&) = delete;

    [[nodiscard]] std::optional<Value> objectForKey(std::string_view key) const override;
    void setObject(std::string_view key, Value value) override;
    void removeObject(std::string_view key) override;
    [[nodiscard]] bool synchronize() override;

    /// Commits and calls `done` inside the call, or when the disk releases what it holds.
    void synchronizeTurn(std::function<void(bool)> done) override;

    /// Whether there are changes that are not stored.
    [[nodiscard]] bool hasUnstoredChanges() const;

private:
    using Changes = std::map<std::string, std::optional<Value>, std::less<>>;

    InMemoryUserDefaults(std::shared_ptr<FakeDisk> disk, std::string store);
    [[nodiscard]] bool commit(const Changes& changes);

    std::shared_ptr<FakeDisk> disk_;
    std::string store_;
    mutable std::mutex mutex_;
    Dictionary values_;
    Changes changes_;
    Lifeline<InMemoryUserDefaults> life_{*this};
};

}  // namespace xel
