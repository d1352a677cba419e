#include "sandbox/broker_plugin/DeliveryReports.h"

#include <optional>
#include <utility>

#include "sandbox/broker_plugin/BrokerApi.h"
#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/Topics.h"
#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {

void DeliveryReports::reportHandedOver(const ClientIdentity& receiver, std::string_view payload) {
    const std::optional<MessageOrigin> origin = readMessageOrigin(payload);
    if (!origin || !isFirstReport(origin->id + '/' + receiver.user + '/' + receiver.device)) {
        return;
    }
    const std::string topic = deliveryTopic(receiver.app, origin->senderId, origin->id);
    const std::string report =
        receiver.user + "-:-" + receiver.device + "-:-" + std::to_string(millisecondsSince1970());
    // The broker is in the middle of handing a message over; it publishes this on its loop's next round.
    const int outcome = mosquitto_broker_publish_copy(nullptr, topic.c_str(), static_cast<int>(report.size()),
                                                      report.data(), 1, false, nullptr);
    if (outcome != MOSQ_ERR_SUCCESS) {
        mosquitto_log_printf(MOSQ_LOG_WARNING, "xelpush: no delivery report on %s (error %d)", topic.c_str(),
                             outcome);
    }
}

bool DeliveryReports::isFirstReport(std::string key) {
    if (!reported_.insert(key).second) {
        return false;
    }
    order_.push_back(std::move(key));
    if (order_.size() > kRemembered) {
        reported_.erase(order_.front());
        order_.pop_front();
    }
    return true;
}

}  // namespace xel::sandbox
