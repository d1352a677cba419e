#include "XelPushClient/MQTTSDK/PendingRequests.h"

#include <utility>

namespace xel {

PendingRequests::~PendingRequests() {
    for (const auto& [packetId, request] : subscribes_) {
        packetIds_->release(packetId);
    }
    for (const std::uint16_t packetId : unsubscribes_) {
        packetIds_->release(packetId);
    }
}

std::uint16_t PendingRequests::addSubscribe(SubscribeRequest request) {
    const std::uint16_t packetId = packetIds_->take();
    if (packetId != 0) {
        subscribes_.emplace(packetId, std::move(request));
    }
    return packetId;
}

std::uint16_t PendingRequests::addUnsubscribe() {
    const std::uint16_t packetId = packetIds_->take();
    if (packetId != 0) {
        unsubscribes_.insert(packetId);
    }
    return packetId;
}

void PendingRequests::noteUnsubscribed(std::string_view filter) {
    for (auto& [packetId, request] : subscribes_) {
        for (SubscribeRequest::Topic& topic : request.topics) {
            topic.wasUnsubscribed = topic.wasUnsubscribed || topic.filter == filter;
        }
    }
}

const SubscribeRequest* PendingRequests::findSubscribe(std::uint16_t packetId) const {
    const auto found = subscribes_.find(packetId);
    return found == subscribes_.end() ? nullptr : &found->second;
}

std::optional<SubscribeRequest> PendingRequests::takeSubscribe(std::uint16_t packetId) {
    auto node = subscribes_.extract(packetId);
    if (node.empty()) {
        return std::nullopt;
    }
    packetIds_->release(packetId);
    return std::move(node.mapped());
}

bool PendingRequests::takeUnsubscribe(std::uint16_t packetId) {
    if (unsubscribes_.erase(packetId) == 0) {
        return false;
    }
    packetIds_->release(packetId);
    return true;
}

}  // namespace xel
