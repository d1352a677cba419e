#include "XelPushClient/MQTTSDK/WaitingRequests.h"

#include <algorithm>
#include <unordered_map>

namespace xel {

std::optional<SentThing> thingOf(PendingRequests& requests, std::uint16_t packetId) {
    if (const auto* request = requests.findSubscribe(packetId)) {
        return request->topics.size() == 1
                   ? std::optional(SentThing::subscription(request->topics.front().filter))
                   : std::nullopt;
    }
    const auto* request = requests.findUnsubscribe(packetId);
    return request != nullptr && request->filters.size() == 1
               ? std::optional(SentThing::unsubscription(request->filters.front()))
               : std::nullopt;
}

std::optional<std::uint16_t> WaitingRequests::takeHeld() {
    if (held_.empty()) {
        return std::nullopt;
    }
    const std::uint16_t packetId = held_.front();
    held_.pop_front();
    return packetId;
}

std::vector<std::uint16_t> WaitingRequests::supersedeHeld(PendingRequests& requests,
                                                          std::span<const SubscribeRequest::Topic> later) {
    std::vector<std::uint16_t> superseded;
    if (held_.empty()) {
        return superseded;
    }
    std::unordered_map<std::string_view, int> levels;
    for (const SubscribeRequest::Topic& topic : later) {
        levels.emplace(topic.filter, topic.qos);
    }
    std::erase_if(held_, [&](std::uint16_t packetId) {
        const auto* earlier = requests.findSubscribe(packetId);
        if (earlier == nullptr || earlier->purpose != SubscribePurpose::Batch) {
            return false;
        }
        // What is held has one topic each.
        const auto same = levels.find(earlier->topics.front().filter);
        const bool isSame = same != levels.end() && same->second == earlier->topics.front().qos;
        if (isSame) {
            static_cast<void>(requests.takeSubscribe(packetId));
            superseded.push_back(packetId);
        }
        return isSame;
    });
    return superseded;
}

bool WaitingRequests::isParked(PendingRequests& requests, const SentThing& thing) const {
    return std::any_of(parked_.begin(), parked_.end(),
                       [&](std::uint16_t packetId) { return thingOf(requests, packetId) == thing; });
}

std::uint16_t WaitingRequests::takeParked(PendingRequests& requests, const SentThing& thing) {
    const auto parked = std::find_if(parked_.begin(), parked_.end(), [&](std::uint16_t packetId) {
        return thingOf(requests, packetId) == thing;
    });
    const std::uint16_t packetId = *parked;
    parked_.erase(parked);
    return packetId;
}

void WaitingRequests::dropParked(PendingRequests& requests, SentThing::Kind kind, std::string_view topic) {
    std::erase_if(parked_, [&](std::uint16_t packetId) {
        const auto thing = thingOf(requests, packetId);
        if (!thing || thing->kind != kind || thing->filter != topic) {
            return false;
        }
        static_cast<void>(requests.takeSubscribe(packetId));
        static_cast<void>(requests.takeUnsubscribe(packetId));
        return true;
    });
}

void WaitingRequests::holdWhatIsAcquitted(PendingRequests& requests, const Suspects& suspects) {
    std::erase_if(parked_, [&](std::uint16_t packetId) {
        const auto thing = thingOf(requests, packetId);
        const bool isAcquitted = !thing || !suspects.isSetAside(*thing);
        if (isAcquitted && thing) {
            hold(packetId);
        }
        return isAcquitted;
    });
}

}  // namespace xel
