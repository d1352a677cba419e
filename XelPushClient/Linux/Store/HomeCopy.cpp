#include "XelPushClient/Linux/Store/HomeCopy.h"

#include "XelPushClient/Linux/Store/StoreFold.h"

namespace xel {

int HomeCopy::bringInto(StoreWriter& writer, std::string_view name, std::uint64_t run) const {
    StoreFold changes;
    changes.changesOf(name);
    for (const auto& [key, value] : settings) {
        changes.settingWasSet(key, value);
    }
    for (const Client& client : clients) {
        changes.topicsWereSet(client.name, client.topics);
        for (const OutboxEntry& entry : client.outbox) {
            changes.publicationWasAppended(client.name,
                                           {entry.packetId, entry.retain, entry.topic, entry.payload});
        }
    }
    return writer.bringIn(name, changes.homes().begin()->second, run);
}

}  // namespace xel
