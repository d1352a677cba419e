#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "sandbox/broker_plugin/BrokerApi.h"
#include "sandbox/broker_plugin/DeliveryReports.h"
#include "sandbox/broker_plugin/EventWriter.h"

namespace xel::sandbox {

struct ClientIdentity;
struct PublishRequest;

/// What the push service adds to its broker: who may read and publish what, the relay from publish topics to
/// message topics, delivery reports, and the store of events and receipts.
///
/// Relay and store work inside the broker, on the publication itself: a QoS 1 publication is acknowledged
/// only once the message made of it is queued for every receiver, or the event is stored, so there is no
/// moment at which it could be lost.
///
/// Called on the broker's one thread. Operations answer with a MOSQ_ERR_ code; they may throw, and the C
/// border above them catches.
class BrokerPlugin {
public:
    struct Settings {
        std::string app;          ///< the application that the broker serves
        std::string serviceUser;  ///< the user name that may do anything
        std::string eventStore;   ///< the file that events and receipts are kept in
    };

    /// Throws SandboxError when the store of events cannot be opened.
    explicit BrokerPlugin(Settings settings);

    /// Refuses a client whose client id is not "{app}/{user}/{device}"; leaves the password to the broker.
    int checkClient(const mosquitto_evt_basic_auth& event);

    /// Applies the access rules; a read of a message by a connected client is a delivery, and one by a
    /// session without a connection is a message that waits. While a row cannot be written, whatever a client
    /// publishes ends its connection: were other publications acknowledged meanwhile, their senders would
    /// have to take the one that is not for one that is refused.
    int checkAccess(const mosquitto_evt_acl_check& event);

    /// Turns a publication on a publish topic into a push message; stores an event or a receipt; lets every
    /// other one pass. What cannot be stored ends the publisher's connection without an acknowledgement, so
    /// that it is sent again.
    int takePublication(mosquitto_evt_message& event);

    void clientHasGone(const mosquitto_evt_disconnect& event);

private:
    [[nodiscard]] bool isService(const mosquitto* client) const;
    [[nodiscard]] std::optional<ClientIdentity> identify(const mosquitto* client) const;
    int checkRead(const mosquitto_evt_acl_check& event, const ClientIdentity& client);
    bool canWriteRows();
    static void tellThatItWaits(const ClientIdentity& client, std::string_view message);
    int relay(mosquitto_evt_message& event, const PublishRequest& request);
    int store(const mosquitto_evt_message& event);

    Settings settings_;
    EventWriter events_;
    DeliveryReports deliveryReports_;
    // Clients that have a connection. A session without one is asked for its read permission too, when a
    // message is queued for it, and again when it comes back: only then is the message delivered.
    std::unordered_set<const mosquitto*> connected_;
};

}  // namespace xel::sandbox
