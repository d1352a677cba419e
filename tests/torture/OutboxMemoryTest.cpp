// A publication that there was no memory for has not been made: nothing of it is left to be sent. Those of an
// earlier life that there was no memory to load are loaded later.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/Outbox.h"
#include "XelPushClient/MQTTSDK/PacketIds.h"
#include "XelPushClient/Platform/ForwardingSessionMemory.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/torture/Memory.h"
#include "tests/unit/MQTTSDK/UnreadableMemory.h"

namespace xel::torture {
namespace {

/// A memory that has its own.
class RoomyMemory final : public ForwardingSessionMemory {
public:
    using ForwardingSessionMemory::ForwardingSessionMemory;

    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override {
        const OutsideClient outside;
        return ForwardingSessionMemory::appendToOutbox(clientId, entry);
    }
};

TEST(OutboxWithoutMemory, KeepsNothingOfWhatItCouldNotAdd) {
    const std::string data(1000, 'x');
    std::size_t allocation = 0;
    do {
        RoomyMemory memory(std::make_shared<InMemorySessionMemory>(std::make_shared<FakeDisk>()));
        const auto packetIds = std::make_shared<PacketIds>();
        Outbox outbox(memory, "client", packetIds, {});
        bool isAdded = false;
        memoryStrokes().begin(++allocation, Span::Once);
        try {
            const InClient adding;
            isAdded = outbox.add("a/topic/that/no/small/string/holds", data, false).isOk();
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(isAdded);
        }
        memoryStrokes().heal();
        const std::size_t expected = isAdded ? 1 : 0;
        EXPECT_EQ(memory.loadOutbox("client").value().size(), expected) << "allocation " << allocation;
        EXPECT_EQ(outbox.publications().size(), expected) << "allocation " << allocation;
        EXPECT_EQ(packetIds->countInUse(), expected) << "allocation " << allocation;
    } while (memoryStrokes().hasFallen());
    EXPECT_GT(allocation, 3U);
}

TEST(OutboxWithoutMemory, LoadsEverythingLaterThatItCouldNotLoadAtOnce) {
    std::size_t allocation = 0;
    do {
        InMemorySessionMemory stored(std::make_shared<FakeDisk>());
        for (const auto& [packetId, topic] : {std::pair{1, "a"}, {2, "no/#/topic"}, {3, "b"}}) {
            ASSERT_TRUE(stored.appendToOutbox(
                "client", {static_cast<std::uint16_t>(packetId), topic, std::string(100, 'x'), false}));
        }
        UnreadableMemory memory(stored);
        const auto packetIds = std::make_shared<PacketIds>();
        Outbox outbox(memory, "client", packetIds, {});
        memory.isReadable = true;
        memoryStrokes().begin(++allocation, Span::Once);
        try {
            const InClient loading;
            outbox.load();
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(outbox.isLoaded());
            EXPECT_EQ(packetIds->countInUse(), 0U) << "allocation " << allocation;
        }
        memoryStrokes().heal();
        outbox.load();
        EXPECT_EQ(outbox.publications().size(), 2U) << "allocation " << allocation;
        EXPECT_EQ(packetIds->countInUse(), 3U) << "allocation " << allocation;
        ASSERT_TRUE(outbox.hasUnusable());
        EXPECT_EQ(outbox.takeUnusable()->entry.topic, "no/#/topic") << "allocation " << allocation;
    } while (memoryStrokes().hasFallen());
    EXPECT_GT(allocation, 10U);
}

}  // namespace
}  // namespace xel::torture
