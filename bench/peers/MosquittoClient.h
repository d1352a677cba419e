#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <mosquitto.h>

#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"

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

    /// By TLS from now on, trusting that certificate; without a file plainly.
    void trust(const std::string& certificateFile) const {
        if (!certificateFile.empty()) {
            check(mosquitto_tls_set(client_, certificateFile.c_str(), nullptr, nullptr, nullptr, nullptr));
        }
    }

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
inline void receiveWithMosquitto(const SubjectOptions& subject, void* context,
                                 void (*onMessage)(mosquitto*, void*, const mosquitto_message*)) {
    static std::string topic;  // libmosquitto gives its callbacks one context only, and that is the caller's
    topic = sampleTopic(kSampleAppId, kSampleUserId, kSampleChannel);
    const MosquittoClient client("bench-mosquitto", context);
    client.trust(subject.certificate);
    mosquitto_connect_callback_set(client.get(), [](mosquitto* connected, void*, int result) {
        if (result == 0) {
            mosquitto_subscribe(connected, nullptr, topic.c_str(), 1);
        } else {
            mosquitto_disconnect(connected);
        }
    });
    mosquitto_message_callback_set(client.get(), onMessage);
    MosquittoClient::check(mosquitto_connect(client.get(), "127.0.0.1", subject.port, 180));
    MosquittoClient::check(mosquitto_loop_forever(client.get(), -1, 1));
}

}  // namespace xel::bench
