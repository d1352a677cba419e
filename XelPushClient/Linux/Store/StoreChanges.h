#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// A publication of an outbox, as it stands in a record.
struct StoredPublication {
    std::uint16_t packetId = 0;
    bool retain = false;
    std::string_view topic;
    std::string_view payload;
};

/// Hears the changes of a store's homes, in their order. The views are into the record; the spans are
/// valid during the call.
class StoreChangeReader {
public:
    virtual ~StoreChangeReader() = default;

    /// Which home the following changes are of.
    virtual void changesOf(std::string_view home) = 0;

    /// The value in its stored form (ValueCodec.h).
    virtual void settingWasSet(std::string_view key, std::string_view value) = 0;
    /// As `NSUserDefaults::appendToArray` does.
    virtual void settingWasAppendedTo(std::string_view key, std::span<const std::string_view> texts,
                                      std::size_t mostKept) = 0;
    virtual void settingWasRemoved(std::string_view key) = 0;

    /// In place of the one that had the identifier, behind all others.
    virtual void publicationWasAppended(std::string_view clientId, const StoredPublication& publication) = 0;
    virtual void publicationsWereRemoved(std::string_view clientId,
                                         std::span<const std::uint16_t> packetIds) = 0;
    /// The topics in their stored form.
    virtual void topicsWereSet(std::string_view clientId, std::string_view topics) = 0;
    virtual void clientWasErased(std::string_view clientId) = 0;
};

/// Appends changes to the contents of a journal's record: what `readStoreChanges` reads. The first says of
/// which home they are.
class StoreChangeWriter {
public:
    explicit StoreChangeWriter(std::string& octets) : octets_(octets) {}

    void changesOf(std::string_view home);
    void setSetting(std::string_view key, std::string_view value);
    void appendToSetting(std::string_view key, std::span<const std::string_view> texts, std::size_t mostKept);
    void removeSetting(std::string_view key);
    void appendPublication(std::string_view clientId, const OutboxEntry& entry);
    void removePublications(std::string_view clientId, std::span<const std::uint16_t> packetIds);
    void setTopics(std::string_view clientId, std::string_view topics);
    void eraseClient(std::string_view clientId);

private:
    std::string& octets_;
};

/// Passes a record's changes on. False, perhaps after some of them, for what is none: another version of this
/// library wrote it.
[[nodiscard]] bool readStoreChanges(std::string_view record, StoreChangeReader& reader);

}  // namespace xel
