#include "tests/integration/support/MqttTestClient.h"

#include <cstddef>
#include <utility>

#include <mosquitto.h>

namespace xel::sandbox::test {

struct MqttTestClient::Callbacks {
    static void onConnect(mosquitto*, void* self, int code, int flags) {
        auto& client = *static_cast<MqttTestClient*>(self);
        client.connack_ = code;
        client.sessionPresent_ = (flags & 1) != 0;
    }
    static void onSubscribe(mosquitto*, void* self, int, int count, const int* granted) {
        static_cast<MqttTestClient*>(self)->granted_ = count > 0 ? granted[0] : -1;
    }
    static void onPublish(mosquitto*, void* self, int packetId) {
        static_cast<MqttTestClient*>(self)->acknowledged_ = packetId;
    }
    static void onMessage(mosquitto*, void* self, const mosquitto_message* message) {
        const auto length = static_cast<std::size_t>(message->payloadlen);
        static_cast<MqttTestClient*>(self)->received_.push_back(
            {message->topic,
             length == 0 ? std::string() : std::string(static_cast<const char*>(message->payload), length),
             message->qos, message->retain});
    }
};

MqttTestClient::MqttTestClient(Options options)
    : options_(std::move(options)), client_(nullptr, &mosquitto_destroy) {
    mosquitto_lib_init();
    client_.reset(mosquitto_new(options_.clientId.c_str(), options_.cleanSession, this));
    if (!options_.user.empty()) {
        mosquitto_username_pw_set(client_.get(), options_.user.c_str(), options_.password.c_str());
    }
    if (!options_.caFile.empty()) {
        mosquitto_tls_set(client_.get(), options_.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    }
    mosquitto_connect_with_flags_callback_set(client_.get(), &Callbacks::onConnect);
    mosquitto_subscribe_callback_set(client_.get(), &Callbacks::onSubscribe);
    mosquitto_publish_callback_set(client_.get(), &Callbacks::onPublish);
    mosquitto_message_callback_set(client_.get(), &Callbacks::onMessage);
}

MqttTestClient::MqttTestClient(const SandboxInfo& info, const std::string& user, const std::string& device,
                               bool cleanSession)
    : MqttTestClient(Options{.clientId = info.appId + "/" + user + "/" + device,
                             .user = info.brokerUser,
                             .password = info.brokerPassword,
                             .port = info.mqttPort,
                             .caFile = {},
                             .cleanSession = cleanSession}) {}

MqttTestClient::~MqttTestClient() = default;

template <typename Done>
bool MqttTestClient::runUntil(Done done) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            lastError_ = "timed out";
            return false;
        }
        if (const int outcome = mosquitto_loop(client_.get(), 20, 1); outcome != MOSQ_ERR_SUCCESS) {
            lastError_ = mosquitto_strerror(outcome);
            return done();
        }
    }
    return true;
}

int MqttTestClient::connect() {
    connack_.reset();
    const char* host = options_.caFile.empty() ? "127.0.0.1" : "localhost";
    if (const int outcome = mosquitto_connect(client_.get(), host, options_.port, 60);
        outcome != MOSQ_ERR_SUCCESS) {
        lastError_ = mosquitto_strerror(outcome);
        return -1;
    }
    runUntil([this] { return connack_.has_value(); });
    return connack_.value_or(-1);
}

int MqttTestClient::subscribe(const std::string& filter, int qos) {
    granted_.reset();
    mosquitto_subscribe(client_.get(), nullptr, filter.c_str(), qos);
    runUntil([this] { return granted_.has_value(); });
    return granted_.value_or(-1);
}

bool MqttTestClient::publish(const std::string& topic, const std::string& payload, int qos, bool retain) {
    acknowledged_.reset();
    int packetId = 0;
    mosquitto_publish(client_.get(), &packetId, topic.c_str(), static_cast<int>(payload.size()),
                      payload.data(), qos, retain);
    return runUntil([this, packetId] { return acknowledged_ == packetId; });
}

std::optional<ReceivedMessage> MqttTestClient::receive() {
    (void)runUntil([this] { return !received_.empty(); });
    return takeFirst();
}

std::optional<ReceivedMessage> MqttTestClient::receiveIfThere() {
    if (const int outcome = mosquitto_loop(client_.get(), 0, 1); outcome != MOSQ_ERR_SUCCESS) {
        lastError_ = mosquitto_strerror(outcome);
    }
    return takeFirst();
}

std::optional<ReceivedMessage> MqttTestClient::takeFirst() {
    if (received_.empty()) {
        return std::nullopt;
    }
    ReceivedMessage message = std::move(received_.front());
    received_.pop_front();
    return message;
}

void MqttTestClient::disconnect() {
    mosquitto_disconnect(client_.get());
    runUntil([this] { return mosquitto_socket(client_.get()) < 0; });
}

}  // namespace xel::sandbox::test
