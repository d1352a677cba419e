#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "XelPushClient/Platform/SessionMemory.h"
#include "XelPushClient/Testing/FakeDisk.h"

namespace xel {

/// Session memory on a `FakeDisk`. While commits fail, its operations fail and change nothing.
/// Thread: as the port says.
class InMemorySessionMemory final : public SessionMemory {
public:
    explicit InMemorySessionMemory(std::shared_ptr<FakeDisk> disk, std::string store = "home");

    /// While set, removals from the outbox are stored only with the next change of the same client id, as the
    /// port allows: if the object is dropped before that, the entries come back.
    void setStoresRemovalsLate(bool isLate) { storesRemovalsLate_ = isLate; }

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    [[nodiscard]] Result<TopicTable> loadGrantedTopics(std::string_view clientId) override;
    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override;
    [[nodiscard]] std::vector<std::string> clientIds() override;
    void erase(std::string_view clientId) override;

private:
    [[nodiscard]] Result<void> change(std::string_view clientId, std::string_view what,
                                      const std::function<void(FakeDisk::ClientMemory&)>& work);

    std::shared_ptr<FakeDisk> disk_;
    std::string store_;
    std::map<std::string, std::set<std::uint16_t>, std::less<>> lateRemovals_;
    bool storesRemovalsLate_ = false;
};

}  // namespace xel
