#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bench/common/Checksum.h"

namespace xel::bench {

/// What a host callback reads of a push message, by whatever library it arrived.
struct SeenFields {
    std::string_view id;
    std::string_view messageBody;
    std::string_view senderId;
    std::int64_t serverTimeMs = 0;  ///< milliseconds since 1970
    std::string_view state;         ///< data.state
    std::int64_t orderId = 0;       ///< data.orderId
};

/// The step that every subject's callback takes for every message. Of a long text it reads pieces only,
/// so that the figures of large messages are not those of this checksum.
void addSeenFields(Checksum& checksum, const SeenFields& fields);

/// The push message number `index` of a run: the same index gives the same message in every process.
/// Ids are distinct, the expiry instant is far in the future.
struct SampleMessage {
    std::string id;
    std::string messageBody;
    std::string senderId;
    std::int64_t serverTimeMs = 0;
    std::string state;
    std::int64_t orderId = 0;
    std::string payload;  ///< JSON

    SeenFields seenFields() const;
};

/// A payload close to 300 octets, with a UUID, instants, a sender and the application's own data.
SampleMessage makeSampleMessage(std::uint64_t index);

/// A payload of exactly that many octets, 30 at least: up to 400 an id and a text alone, beyond that the
/// message above with a longer text. Throws std::invalid_argument for less, and for an index past the
/// short ids.
SampleMessage makeSampleMessageOfSize(std::uint64_t index, std::size_t payloadBytes);

/// "app/{appId}/user/{userId}/{channel}"
std::string sampleTopic(std::string_view appId, std::string_view userId, std::string_view channel);

inline constexpr std::string_view kSampleAppId = "benchapp";
inline constexpr std::string_view kSampleUserId = "alice01";
inline constexpr std::string_view kSampleChannel = "orders";

}  // namespace xel::bench
