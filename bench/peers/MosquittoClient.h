#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <mosquitto.h>

namespace xel::bench {

/// libmosquitto, initialised and with a client that is destroyed with its owner.
class MosquittoClient {
public:
    MosquittoClient(const char* clientId, void* context) {
        mosquitto_lib_init();
        client_ = mosquitto_new(clientId, true, context);
        if (client_ == nullptr) {
            throw std::runtime_error("mosquitto_new failed");
        }
    }

    ~MosquittoClient() {
        mosquitto_destroy(client_);
        mosquitto_lib_cleanup();
    }

    MosquittoClient(const MosquittoClient&) = delete;
    MosquittoClient& operator=(const MosquittoClient&) = delete;

    mosquitto* get() const { return client_; }

    static void check(int result) {
        if (result != MOSQ_ERR_SUCCESS) {
            throw std::runtime_error(mosquitto_strerror(result));
        }
    }

private:
    mosquitto* client_ = nullptr;
};

/// Connects, subscribes once connected, and runs libmosquitto's own loop on this thread until a callback
/// disconnects. `onMessage` gets `context`.
inline void receiveWithMosquitto(int port, const std::string& topic, void* context,
                                 void (*onMessage)(mosquitto*, void*, const mosquitto_message*)) {
    struct Subscription {
        static const std::string*& wanted() {
            static const std::string* topic = nullptr;
            return topic;
        }
        static void onConnect(mosquitto* client, void*, int result) {
            if (result == 0) {
                mosquitto_subscribe(client, nullptr, wanted()->c_str(), 1);
            } else {
                mosquitto_disconnect(client);
            }
        }
    };
    Subscription::wanted() = &topic;
    const MosquittoClient client("bench-mosquitto", context);
    mosquitto_connect_callback_set(client.get(), Subscription::onConnect);
    mosquitto_message_callback_set(client.get(), onMessage);
    MosquittoClient::check(mosquitto_connect(client.get(), "127.0.0.1", port, 180));
    MosquittoClient::check(mosquitto_loop_forever(client.get(), -1, 1));
}

}  // namespace xel::bench
