#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Linux/Homes/OpenHome.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// The memory of a home's sessions, in its store.
///
/// An append is one write, and with `Durability::PowerCut` one sync, for which the caller waits. Removals
/// take part in the next write, whoever's that is, which comes a second later by itself; without a run loop
/// they go when many have come together, and at the latest with this object. Thread: as the port says.
class HomeSessionMemory final : public SessionMemory,
                                public StoreWriteRider,
                                public std::enable_shared_from_this<HomeSessionMemory> {
public:
    [[nodiscard]] static std::shared_ptr<HomeSessionMemory> open(std::shared_ptr<OpenHome> home,
                                                                 const std::vector<std::string>& clientIds);

    ~HomeSessionMemory() override;
    HomeSessionMemory(const HomeSessionMemory&) = delete;
    HomeSessionMemory& operator=(const HomeSessionMemory&) = delete;

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    [[nodiscard]] Result<TopicTable> loadGrantedTopics(std::string_view clientId) override;
    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override;
    [[nodiscard]] std::vector<std::string> clientIds() override;
    void erase(std::string_view clientId) override;

    void writeTo(StoreChangeWriter& writer) override;
    void wasWritten(bool isWritten) override;
    void turnDidEnd() override {}

private:
    struct Client {
        bool isStored = false;
        std::uint64_t lastRun = 0;  ///< of the journal, that has something of it; 0 for none
        std::vector<std::uint16_t> removals;
    };
    using Clients = std::map<std::string, Client, std::less<>>;

    explicit HomeSessionMemory(std::shared_ptr<OpenHome> home);
    [[nodiscard]] Client& clientNamed(std::string_view clientId);
    [[nodiscard]] std::uint64_t lastRunOf(std::string_view clientId) const;
    void planRemovals();

    const std::shared_ptr<OpenHome> home_;
    HomeStore& store_;
    Clients clients_;
    std::size_t removalCount_ = 0;
    bool isRiding_ = false;
};

}  // namespace xel
