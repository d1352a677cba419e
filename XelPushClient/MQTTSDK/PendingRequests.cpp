#include "XelPushClient/MQTTSDK/PendingRequests.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace xel {
namespace {

template <class Requests>
std::optional<std::uint16_t> firstWrittenOf(const Requests& requests) {
    const auto written = std::find_if(requests.begin(), requests.end(),
                                      [](const auto& pending) { return pending.second.place.has_value(); });
    return written != requests.end() ? std::optional(written->first) : std::nullopt;
}

}  // namespace

PendingRequests::~PendingRequests() {
    for (const auto& [packetId, request] : subscribes_) {
        packetIds_->release(packetId);
    }
    for (const auto& [packetId, request] : unsubscribes_) {
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

std::uint16_t PendingRequests::addUnsubscribe(UnsubscribeRequest request) {
    const std::uint16_t packetId = packetIds_->take();
    if (packetId != 0) {
        addUnsubscribe(packetId, std::move(request));
    }
    return packetId;
}

void PendingRequests::addUnsubscribe(std::uint16_t packetId, UnsubscribeRequest request) {
    unsubscribes_.insert_or_assign(packetId, std::move(request));
}

void PendingRequests::noteUnsubscribed(std::span<const std::string_view> filters) {
    const std::unordered_set<std::string_view> unsubscribed(filters.begin(), filters.end());
    for (auto& [packetId, request] : subscribes_) {
        for (SubscribeRequest::Topic& topic : request.topics) {
            topic.wasUnsubscribed = topic.wasUnsubscribed || unsubscribed.contains(topic.filter);
        }
    }
}

SubscribeRequest* PendingRequests::findSubscribe(std::uint16_t packetId) {
    const auto found = subscribes_.find(packetId);
    return found == subscribes_.end() ? nullptr : &found->second;
}

const SubscribeRequest* PendingRequests::findSubscribe(std::uint16_t packetId) const {
    const auto found = subscribes_.find(packetId);
    return found == subscribes_.end() ? nullptr : &found->second;
}

UnsubscribeRequest* PendingRequests::findUnsubscribe(std::uint16_t packetId) {
    const auto found = unsubscribes_.find(packetId);
    return found == unsubscribes_.end() ? nullptr : &found->second;
}

std::optional<SubscribeRequest> PendingRequests::takeSubscribe(std::uint16_t packetId) {
    auto node = subscribes_.extract(packetId);
    if (node.empty()) {
        return std::nullopt;
    }
    packetIds_->release(packetId);
    return std::move(node.mapped());
}

std::optional<UnsubscribeRequest> PendingRequests::takeUnsubscribe(std::uint16_t packetId) {
    auto node = unsubscribes_.extract(packetId);
    if (node.empty()) {
        return std::nullopt;
    }
    packetIds_->release(packetId);
    return std::move(node.mapped());
}

std::map<std::uint16_t, UnsubscribeRequest> PendingRequests::takeUnsubscribes() {
    return std::exchange(unsubscribes_, {});
}

std::optional<std::uint16_t> PendingRequests::firstWritten() const {
    const auto subscribe = firstWrittenOf(subscribes_);
    return subscribe ? subscribe : firstWrittenOf(unsubscribes_);
}

bool PendingRequests::isAnyFor(SubscribePurpose purpose) const {
    return std::any_of(subscribes_.begin(), subscribes_.end(),
                       [&](const auto& pending) { return pending.second.purpose == purpose; });
}

}  // namespace xel
