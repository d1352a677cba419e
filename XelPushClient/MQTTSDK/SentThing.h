#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <utility>

namespace xel {

/// One thing that a session sends and that the broker answers. A subscription and an unsubscription are told
/// by their one topic filter, a publication by the packet identifier that it keeps until it is acknowledged.
struct SentThing {
    enum class Kind { Publication, Subscription, Unsubscription };

    Kind kind = Kind::Publication;
    std::uint16_t packetId = 0;
    std::string filter;

    static SentThing publication(std::uint16_t packetId) { return {Kind::Publication, packetId, {}}; }
    static SentThing subscription(std::string filter) { return {Kind::Subscription, 0, std::move(filter)}; }
    static SentThing unsubscription(std::string filter) {
        return {Kind::Unsubscription, 0, std::move(filter)};
    }

    friend bool operator==(const SentThing&, const SentThing&) = default;
    /// In no particular order.
    friend bool operator<(const SentThing& a, const SentThing& b) {
        return std::tie(a.kind, a.packetId, a.filter) < std::tie(b.kind, b.packetId, b.filter);
    }
};

}  // namespace xel
