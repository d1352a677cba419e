#pragma once

#include <memory>
#include <string_view>

#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/Messaging/MessageIds.h"
#include "XelPushClient/Classes/Messaging/RemoteConfiguration.h"
#include "XelPushClient/Classes/Models/DeliveryMessage.h"
#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"

namespace xel {

/// Hears what the publications turned out to be. On the manager's run loop; calling back in is allowed.
class InboundObserver {
public:
    virtual ~InboundObserver() = default;
    virtual void messageArrived(const std::shared_ptr<const PushClientMessage>& message) = 0;
    virtual void deliveryArrived(const DeliveryMessage& delivery) = 0;
    virtual void eventArrived(const EventMessage& event) = 0;
};

/// What happens to each inbound publication: told apart by its topic, decoded, duplicates and expired
/// messages dropped, and handed on. Receiving never causes a publication.
///
/// Owner: the manager. Thread: the manager's run loop. Each publication is handled to completion before the
/// call returns.
class InboundPipeline {
public:
    struct Surroundings {
        ClientSettings& settings;
        MessageIds& messageIds;
        NSJSONSerialization& json;
        const Clock& clock;
        const LogOutput& log;
        InboundObserver& observer;
        /// Applies what a message carries, before the message is reported.
        RemoteConfiguration& remoteConfiguration;
    };

    explicit InboundPipeline(Surroundings surroundings);

    /// A repeat is dropped by its id. What has no id, and delivery reports, are reported each time.
    void handleNewMessage(std::string_view payload, std::string_view topic, Arrival arrival = Arrival::First);

private:
    void handleDelivery(std::string_view payload, std::string_view topic);
    void handleEvent(std::string_view payload, std::string_view topic, Arrival arrival);
    void handlePushMessage(std::string_view payload, std::string_view topic, Arrival arrival);
    [[nodiscard]] bool isExpired(const PushClientMessage& message) const;

    Surroundings surroundings_;
};

}  // namespace xel
