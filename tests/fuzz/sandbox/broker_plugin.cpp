// The local service's broker plugin behind its C border, with a broker that this program plays: a client
// says who it is, asks for rights and publishes; another one is handed what comes of it. No exception stays
// behind, no memory is lost, and what the plugin makes of a publication is a message that clients read.
//
// Input: lines with the client id, the user name and a topic; a digit for QoS, one for retain; then the
// payload.

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "sandbox/broker_plugin/BrokerApi.h"
#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/Topics.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

using xel::fuzz::require;

/// A client of the broker that is played here.
struct mosquitto {
    std::string id;
    std::string user;
};

namespace {

std::map<int, MOSQ_FUNC_generic_callback>& callbacks() {
    static std::map<int, MOSQ_FUNC_generic_callback> registered;
    return registered;
}

}  // namespace

// The broker's side of the border.

extern "C" {

int mosquitto_plugin_init(mosquitto_plugin_id_t* identifier, void** userData, mosquitto_opt* options,
                          int count);
int mosquitto_plugin_cleanup(void* userData, mosquitto_opt* options, int count);

int mosquitto_callback_register(mosquitto_plugin_id_t* /*identifier*/, int event,
                                MOSQ_FUNC_generic_callback callback, const void* /*data*/,
                                void* /*userData*/) {
    callbacks()[event] = callback;
    return MOSQ_ERR_SUCCESS;
}

int mosquitto_callback_unregister(mosquitto_plugin_id_t* /*identifier*/, int event,
                                  MOSQ_FUNC_generic_callback /*callback*/, const void* /*data*/) {
    callbacks().erase(event);
    return MOSQ_ERR_SUCCESS;
}

const char* mosquitto_client_id(const mosquitto* client) {
    return client->id.c_str();
}

const char* mosquitto_client_username(const mosquitto* client) {
    return client->user.empty() ? nullptr : client->user.c_str();
}

void* mosquitto_malloc(std::size_t size) {
    return std::malloc(size);
}

void mosquitto_free(void* memory) {
    std::free(memory);
}

int mosquitto_broker_publish_copy(const char* /*clientId*/, const char* topic, int length,
                                  const void* payload, int qos, bool /*retain*/,
                                  mosquitto_property* /*properties*/) {
    require(xel::isValidTopicName(topic), "what the plugin says has a topic");
    require(length >= 0 && (length == 0 || payload != nullptr) && qos == 1,
            "what the plugin says is a message");
    return MOSQ_ERR_SUCCESS;
}

void mosquitto_log_printf(int /*level*/, const char* format, ...) {
    require(std::strstr(format, "failed") == nullptr, "no exception comes to the border");
}

}  // extern "C"

namespace {

using namespace xel;

constexpr const char* kService = "service";

/// A plugin of one broker, with a store that goes with it.
class Plugin {
public:
    Plugin() {
        mosquitto_opt options[] = {{const_cast<char*>("app_id"), const_cast<char*>("shop")},
                                   {const_cast<char*>("service_user"), const_cast<char*>(kService)},
                                   {const_cast<char*>("event_store"), file_.data()}};
        require(mosquitto_plugin_init(nullptr, &data_, options, 3) == MOSQ_ERR_SUCCESS, "the plugin starts");
    }
    ~Plugin() {
        mosquitto_plugin_cleanup(data_, nullptr, 0);
        for (const char* end : {"", "-wal", "-shm"}) {
            std::filesystem::remove(file_ + end);
        }
    }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    template <class Event>
    int tell(int kind, Event& event) {
        return callbacks().at(kind)(kind, &event, data_);
    }

private:
    static std::string folder() {
        static const sandbox::test::TemporaryFolder kept;
        return kept.path().string();
    }

    std::string file_ = folder() + "/events.db";
    void* data_ = nullptr;
};

struct Publication {
    std::string topic;
    std::string payload;
    std::uint8_t qos = 0;
    bool isRetained = false;
};

bool isAllowed(Plugin& plugin, mosquitto& client, const Publication& publication, int access) {
    std::string payload = publication.payload;
    mosquitto_evt_acl_check check{};
    check.client = &client;
    check.topic = publication.topic.c_str();
    check.payload = payload.data();
    check.access = access;
    check.payloadlen = static_cast<std::uint32_t>(payload.size());
    check.qos = publication.qos;
    check.retain = publication.isRetained;
    const int outcome = plugin.tell(MOSQ_EVT_ACL_CHECK, check);
    require(outcome == MOSQ_ERR_SUCCESS || outcome == MOSQ_ERR_ACL_DENIED, "a right is there, or it is not");
    return outcome == MOSQ_ERR_SUCCESS;
}

/// What the broker hands on, as the plugin has it; none when it is dropped.
std::optional<Publication> taken(Plugin& plugin, mosquitto& client, const Publication& publication) {
    mosquitto_evt_message message{};
    message.client = &client;
    message.topic = ::strdup(publication.topic.c_str());
    std::string payload = publication.payload;
    message.payload = payload.data();
    message.payloadlen = static_cast<std::uint32_t>(payload.size());
    message.qos = publication.qos;
    message.retain = publication.isRetained;
    const int outcome = plugin.tell(MOSQ_EVT_MESSAGE, message);
    require(outcome == MOSQ_ERR_SUCCESS || outcome == MOSQ_ERR_ACL_DENIED,
            "a publication is taken, or dropped");
    const auto* const octets = static_cast<const char*>(message.payload);
    const Publication made{message.topic, std::string(octets, message.payloadlen), publication.qos,
                           publication.isRetained};
    if (octets != payload.data()) {
        require(octets[message.payloadlen] == '\0', "a payload has an end");
        mosquitto_free(message.payload);
    }
    mosquitto_free(message.topic);
    return outcome == MOSQ_ERR_SUCCESS ? std::optional(made) : std::nullopt;
}

void checkMade(const mosquitto& client, const Publication& sent, const Publication& made) {
    if (made.topic == sent.topic) {
        require(made.payload == sent.payload, "what is not relayed stays");
        return;
    }
    require(sandbox::parsePublishTopic("shop", sent.topic).has_value(),
            "what is relayed was to be published");
    require(sandbox::isMessageTopic("shop", made.topic) && isValidTopicName(made.topic), "it goes to users");
    SimpleJSONSerialization json;
    const auto message = PushClientMessage::fromPayload(made.payload, json, std::nullopt, Date());
    const auto identity = sandbox::parseClientId(client.id);
    require(message != nullptr && message->id && identity, "a client reads what is relayed");
    require(message->senderId == identity->user && message->sentId == identity->device,
            "it names its sender");
    require(message->live == (sent.qos == 0) && message->stateful == sent.isRetained,
            "it says how it was sent");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    mosquitto client{input.line(), input.line()};
    Publication publication;
    publication.topic = input.line();
    publication.qos = static_cast<std::uint8_t>(input.below(2));
    publication.isRetained = input.flag();
    publication.payload = std::string(input.rest());
    // As the broker does, which knows MQTT.
    if (!isValidMQTTString(client.id) || !isValidMQTTString(client.user) ||
        !isValidTopicName(publication.topic)) {
        return 0;
    }
    Plugin plugin;
    mosquitto_evt_basic_auth login{};
    login.client = &client;
    login.username = client.user.empty() ? nullptr : client.user.data();
    const bool isService = client.user == kService;
    const auto identity = sandbox::parseClientId(client.id);
    const bool isLetIn = plugin.tell(MOSQ_EVT_BASIC_AUTH, login) == MOSQ_ERR_PLUGIN_DEFER;
    require(isLetIn == (isService || (identity && identity->app == "shop")), "a client says who it is");
    if (!isLetIn || !isAllowed(plugin, client, publication, MOSQ_ACL_WRITE)) {
        return 0;
    }
    const auto made = taken(plugin, client, publication);
    if (!made) {
        return 0;
    }
    if (!isService) {
        checkMade(client, publication, *made);
    }
    mosquitto other{"shop/bob/B1", "broker-user"};
    mosquitto_evt_basic_auth second{};
    second.client = &other;
    second.username = other.user.data();
    for (const bool isThere : {false, true}) {
        if (isThere) {
            require(plugin.tell(MOSQ_EVT_BASIC_AUTH, second) == MOSQ_ERR_PLUGIN_DEFER, "another comes");
        }
        const bool mayRead = isAllowed(plugin, other, *made, MOSQ_ACL_READ);
        require(!mayRead || sandbox::mayRead({"shop", "bob", "B1"}, made->topic),
                "everybody reads their own");
    }
    mosquitto_evt_disconnect end{};
    end.client = &other;
    require(plugin.tell(MOSQ_EVT_DISCONNECT, end) == MOSQ_ERR_SUCCESS, "a client may go");
    return 0;
}
