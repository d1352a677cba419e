#include "XelPushClient/Classes/Broker/OutboxInheritance.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <utility>

namespace xel {
namespace {

using Identifiers = std::set<std::uint16_t>;

/// The wanted one, or else the lowest that is free.
std::optional<std::uint16_t> freeIdentifier(const Identifiers& taken, std::uint16_t wanted) {
    if (!taken.contains(wanted)) {
        return wanted;
    }
    std::uint16_t lowest = 1;
    for (const std::uint16_t identifier : taken) {
        if (identifier != lowest) {
            break;
        }
        if (lowest == std::numeric_limits<std::uint16_t>::max()) {
            return std::nullopt;
        }
        ++lowest;
    }
    return lowest;
}

}  // namespace

std::vector<std::string> rememberedClientIds(SessionMemory& memory, std::string_view user) {
    auto clientIds = memory.clientIds();
    std::erase_if(clientIds, [&](const std::string& clientId) {
        return !clientId.starts_with(user) || clientId.find('/', user.size()) != std::string::npos;
    });
    return clientIds;
}

Result<void> inheritOutbox(SessionMemory& memory, std::string_view former, std::string_view heir) {
    auto legacy = memory.loadOutbox(former);
    if (!legacy) {
        return legacy.error();
    }
    const auto present = memory.loadOutbox(heir);
    if (!present) {
        return present.error();
    }
    Identifiers taken;
    for (const OutboxEntry& entry : present.value()) {
        taken.insert(entry.packetId);
    }
    for (OutboxEntry& entry : legacy.value()) {
        const std::uint16_t formerIdentifier = entry.packetId;
        const auto identifier = freeIdentifier(taken, formerIdentifier);
        if (!identifier) {
            return {};
        }
        entry.packetId = *identifier;
        if (auto stored = memory.appendToOutbox(heir, entry); !stored) {
            return stored;
        }
        taken.insert(*identifier);
        memory.removeFromOutbox(former, {&formerIdentifier, 1});
    }
    memory.erase(former);
    return {};
}

Result<std::vector<OutboxEntry>> InheritingSessionMemory::loadOutbox(std::string_view clientId) {
    const std::string_view user = clientId.substr(0, clientId.rfind('/') + 1);
    for (const std::string& former : rememberedClientIds(memory(), user)) {
        if (former == clientId) {
            continue;
        }
        if (auto inherited = inheritOutbox(memory(), former, clientId); !inherited) {
            return inherited.error();
        }
    }
    return memory().loadOutbox(clientId);
}

}  // namespace xel
