#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "XelPushClient/Linux/Store/StoreChanges.h"

namespace xel {

/// What many changes come to: of what was set and set again, appended and removed again, only the end. Refers
/// to the records that they were read from, which outlive it.
class StoreFold final : public StoreChangeReader {
public:
    struct Setting {
        /// In its stored form; missing where it was only appended to.
        std::optional<std::string_view> value;
        /// What was there before is gone.
        bool isRemovedFirst = false;
        /// To be appended behind the value, or behind what is stored.
        std::vector<std::string_view> texts;
        /// So many of all of them are left.
        std::size_t mostKept = kAll;

        [[nodiscard]] bool isAppendedTo() const { return mostKept != kAll; }

        static constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
    };

    struct Client {
        /// What was there before is gone.
        bool isErasedFirst = false;
        std::optional<std::string_view> topics;
        /// Of those that were there before.
        std::set<std::uint16_t> removed;
        /// In their order.
        std::map<std::uint64_t, StoredPublication> appended;

        std::unordered_map<std::uint16_t, std::uint64_t> places;  ///< of the appended ones
    };

    struct Home {
        std::map<std::string_view, Setting> settings;
        std::map<std::string_view, Client> clients;
    };

    [[nodiscard]] const std::map<std::string_view, Home>& homes() const { return homes_; }

    void changesOf(std::string_view home) override;
    void settingWasSet(std::string_view key, std::string_view value) override;
    void settingWasAppendedTo(std::string_view key, std::span<const std::string_view> texts,
                              std::size_t mostKept) override;
    void settingWasRemoved(std::string_view key) override;
    void publicationWasAppended(std::string_view clientId, const StoredPublication& publication) override;
    void publicationsWereRemoved(std::string_view clientId,
                                 std::span<const std::uint16_t> packetIds) override;
    void topicsWereSet(std::string_view clientId, std::string_view topics) override;
    void clientWasErased(std::string_view clientId) override;

private:
    [[nodiscard]] Client& clientNamed(std::string_view clientId);
    static void remove(Client& client, std::uint16_t packetId);

    std::map<std::string_view, Home> homes_;
    Home* home_ = nullptr;
    std::uint64_t nextPlace_ = 0;
};

}  // namespace xel
