#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/ForwardingSessionMemory.h"

namespace xel {

/// Another memory, which cannot be read for a while.
class UnreadableMemory final : public ForwardingSessionMemory {
public:
    explicit UnreadableMemory(SessionMemory& memory)
        : ForwardingSessionMemory({std::shared_ptr<void>(), &memory}) {}

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override {
        if (!isReadable) {
            return makeError("test", 1, "a bad sector");
        }
        return ForwardingSessionMemory::loadOutbox(clientId);
    }
    [[nodiscard]] Result<TopicTable> loadGrantedTopics(std::string_view clientId) override {
        if (!isReadable) {
            return makeError("test", 1, "a bad sector");
        }
        return ForwardingSessionMemory::loadGrantedTopics(clientId);
    }

    bool isReadable = false;
};

}  // namespace xel
