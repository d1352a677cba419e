#include "XelPushClient/Classes/Messaging/WaitingEvents.h"

#include <string>

#include "XelPushClient/MQTTSDK/MQTTErrors.h"

namespace xel {

Result<WaitingEvents::Place> WaitingEvents::takePlace(std::size_t payloadOctets) {
    if (taken_->events >= limits_.maxOutboxPublications ||
        taken_->octets + payloadOctets > limits_.maxOutboxOctets) {
        return makeMQTTError(MQTTErrorCode::OutboxFull,
                             "no further event can wait in memory: " + std::to_string(taken_->events) +
                                 " events (" + std::to_string(taken_->octets) +
                                 " octets) wait for a connection");
    }
    ++taken_->events;
    taken_->octets += payloadOctets;
    const auto giveBack = [taken = taken_, payloadOctets](const Taken*) {
        --taken->events;
        taken->octets -= payloadOctets;
    };
    // The pointer is there to have a deleter, which is the place: it deletes nothing.
    return Place(std::shared_ptr<const Taken>(taken_.get(), giveBack));
}

}  // namespace xel
