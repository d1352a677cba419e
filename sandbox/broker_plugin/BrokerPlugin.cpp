#include "sandbox/broker_plugin/BrokerPlugin.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "sandbox/process/SandboxError.h"
#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/EventRecord.h"
#include "sandbox/relay/Json.h"
#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/RandomText.h"
#include "sandbox/relay/Topics.h"
#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {
namespace {

std::string_view payloadOf(const void* payload, std::uint32_t length) {
    return payload == nullptr ? std::string_view()
                              : std::string_view(static_cast<const char*>(payload), length);
}

const char* clientIdOf(const mosquitto* client) {
    const char* clientId = mosquitto_client_id(client);
    return clientId == nullptr ? "" : clientId;
}

// Memory for the broker, which frees it and expects a zero byte behind the text.
char* copyForBroker(std::string_view text) {
    char* copy = static_cast<char*>(mosquitto_malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

int replacePublication(mosquitto_evt_message& event, std::string_view topic, std::string_view payload) {
    char* newTopic = copyForBroker(topic);
    char* newPayload = copyForBroker(payload);
    if (newTopic == nullptr || newPayload == nullptr) {
        mosquitto_free(newTopic);
        mosquitto_free(newPayload);
        return MOSQ_ERR_NOMEM;
    }
    // The broker frees the payload that it sees replaced, but not the topic.
    mosquitto_free(std::exchange(event.topic, newTopic));
    event.payload = newPayload;
    event.payloadlen = static_cast<std::uint32_t>(payload.size());
    return MOSQ_ERR_SUCCESS;
}

}  // namespace

BrokerPlugin::BrokerPlugin(Settings settings)
    : settings_(std::move(settings)), events_(settings_.eventStore) {}

int BrokerPlugin::checkClient(const mosquitto_evt_basic_auth& event) {
    const bool service = event.username != nullptr && settings_.serviceUser == event.username;
    if (!service && !identify(event.client)) {
        mosquitto_log_printf(MOSQ_LOG_WARNING,
                             "xelpush: client id '%s' refused: it must be '%s/{user id}/{device id}'",
                             clientIdOf(event.client), settings_.app.c_str());
        return MOSQ_ERR_AUTH;
    }
    connected_.insert(event.client);
    return MOSQ_ERR_PLUGIN_DEFER;
}

int BrokerPlugin::checkAccess(const mosquitto_evt_acl_check& event) {
    if (isService(event.client)) {
        return MOSQ_ERR_SUCCESS;
    }
    const std::optional<ClientIdentity> client = identify(event.client);
    if (!client || event.topic == nullptr) {
        return MOSQ_ERR_ACL_DENIED;
    }
    // Asked here, because the broker acknowledges what a client may not publish without showing it again.
    if (event.access == MOSQ_ACL_WRITE && !canWriteRows()) {
        return MOSQ_ERR_UNKNOWN;
    }
    bool allowed = false;
    switch (event.access) {
        case MOSQ_ACL_UNSUBSCRIBE: return MOSQ_ERR_SUCCESS;
        case MOSQ_ACL_READ: return checkRead(event, *client);
        case MOSQ_ACL_SUBSCRIBE: allowed = mayRead(*client, event.topic); break;
        case MOSQ_ACL_WRITE: allowed = mayPublish(*client, event.topic); break;
        default: break;
    }
    if (!allowed) {
        mosquitto_log_printf(MOSQ_LOG_WARNING, "xelpush: client '%s' may not %s '%s'",
                             clientIdOf(event.client),
                             event.access == MOSQ_ACL_WRITE ? "publish on" : "subscribe to", event.topic);
        return MOSQ_ERR_ACL_DENIED;
    }
    return MOSQ_ERR_SUCCESS;
}

bool BrokerPlugin::canWriteRows() {
    if (!events_.hasUnwritten()) {
        return true;
    }
    try {
        events_.writeUnwritten();
    } catch (const SandboxError&) {
        return false;  // told when it began
    }
    mosquitto_log_printf(MOSQ_LOG_WARNING, "xelpush: events can be stored again");
    return true;
}

int BrokerPlugin::checkRead(const mosquitto_evt_acl_check& event, const ClientIdentity& client) {
    if (!mayRead(client, event.topic)) {
        return MOSQ_ERR_ACL_DENIED;
    }
    if (!isMessageTopic(settings_.app, event.topic)) {
        return MOSQ_ERR_SUCCESS;
    }
    const std::string_view message = payloadOf(event.payload, event.payloadlen);
    if (connected_.contains(event.client)) {
        deliveryReports_.reportHandedOver(client, message);
    } else {
        tellThatItWaits(client, message);
    }
    return MOSQ_ERR_SUCCESS;
}

// The service sends the device a push message, if it has a token.
void BrokerPlugin::tellThatItWaits(const ClientIdentity& client, std::string_view message) {
    const std::string topic = waitingTopic(client.user, client.device);
    // Published on the loop's next round, as a delivery report is.
    const int outcome = mosquitto_broker_publish_copy(
        nullptr, topic.c_str(), static_cast<int>(message.size()), message.data(), 1, false, nullptr);
    if (outcome != MOSQ_ERR_SUCCESS) {
        mosquitto_log_printf(MOSQ_LOG_WARNING, "xelpush: the service is not told on %s (error %d)",
                             topic.c_str(), outcome);
    }
}

int BrokerPlugin::takePublication(mosquitto_evt_message& event) {
    if (event.topic == nullptr) {
        return MOSQ_ERR_SUCCESS;
    }
    const std::optional<PublishRequest> request = parsePublishTopic(settings_.app, event.topic);
    if (request && !isService(event.client)) {
        return relay(event, *request);
    }
    return store(event);
}

int BrokerPlugin::relay(mosquitto_evt_message& event, const PublishRequest& request) {
    const std::optional<ClientIdentity> sender = identify(event.client);
    const std::optional<Json> content = parseJsonObject(payloadOf(event.payload, event.payloadlen));
    if (!sender || !content) {
        mosquitto_log_printf(MOSQ_LOG_WARNING, "xelpush: dropped what '%s' published on '%s': no JSON object",
                             clientIdOf(event.client), event.topic);
        // The broker acknowledges what it drops so: sent again it would be no better.
        return MOSQ_ERR_ACL_DENIED;
    }
    const MessageEnvelope envelope{.id = makeUuid(),
                                   .user = request.user,
                                   .channel = request.channel,
                                   .serverTime = millisecondsSince1970(),
                                   .senderId = sender->user,
                                   .sentId = sender->device,
                                   .live = event.qos == 0,
                                   .stateful = event.retain};
    return replacePublication(event, userTopic(settings_.app, request.user, request.channel),
                              printJson(composeMessage(envelope, *content)));
}

int BrokerPlugin::store(const mosquitto_evt_message& event) {
    const std::string_view payload = payloadOf(event.payload, event.payloadlen);
    Publisher publisher;
    if (const auto client = isService(event.client) ? std::nullopt : identify(event.client)) {
        publisher = {client->user, client->device};
    }
    try {
        if (const auto read = readEvent(settings_.app, event.topic, payload, publisher)) {
            events_.write(*read);
        } else if (const auto receipt = readReceipt(settings_.app, event.topic, payload, publisher)) {
            events_.write(*receipt);
        }
    } catch (const SandboxError& error) {
        mosquitto_log_printf(
            MOSQ_LOG_ERR,
            "xelpush: no event taken from '%s', and nothing from anybody until it can be stored: %s",
            clientIdOf(event.client), error.what());
        return MOSQ_ERR_UNKNOWN;
    }
    return MOSQ_ERR_SUCCESS;
}

void BrokerPlugin::clientHasGone(const mosquitto_evt_disconnect& event) {
    connected_.erase(event.client);
}

bool BrokerPlugin::isService(const mosquitto* client) const {
    const char* user = mosquitto_client_username(client);
    return user != nullptr && settings_.serviceUser == user;
}

std::optional<ClientIdentity> BrokerPlugin::identify(const mosquitto* client) const {
    std::optional<ClientIdentity> identity = parseClientId(clientIdOf(client));
    if (identity && identity->app != settings_.app) {
        identity.reset();
    }
    return identity;
}

}  // namespace xel::sandbox
