#pragma once

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include <MQTTAsync.h>

namespace xel::bench {

/// Paho C's asynchronous client (its own threads), clean session, no persistence,
/// by TLS where it is given a certificate to trust. Its callbacks run on its
/// receiving thread; the owner waits on its own thread by `waitUntilDone`.
class PahoClient {
public:
    PahoClient(int port, const char* clientId, std::string certificateFile = {})
        : certificateFile_(std::move(certificateFile)) {
        MQTTAsync_createOptions options = MQTTAsync_createOptions_initializer;
        options.maxBufferedMessages = 65535;
        const std::string scheme = certificateFile_.empty() ? "tcp" : "ssl";
        const std::string uri = scheme + "://127.0.0.1:" + std::to_string(port);
        check(MQTTAsync_createWithOptions(&client_, uri.c_str(), clientId, MQTTCLIENT_PERSISTENCE_NONE,
                                          nullptr, &options));
    }

    ~PahoClient() { MQTTAsync_destroy(&client_); }

    PahoClient(const PahoClient&) = delete;
    PahoClient& operator=(const PahoClient&) = delete;

    MQTTAsync get() const { return client_; }

    /// Starts connecting; `onConnected` gets `context` on Paho's thread.
    void connect(void* context, MQTTAsync_onSuccess* onConnected) {
        MQTTAsync_connectOptions options = MQTTAsync_connectOptions_initializer;
        options.keepAliveInterval = 180;
        options.cleansession = 1;
        options.maxInflight = 65535;
        options.onSuccess = onConnected;
        options.context = context;
        MQTTAsync_SSLOptions tls = MQTTAsync_SSLOptions_initializer;
        tls.trustStore = certificateFile_.c_str();
        tls.verify = 1;
        if (!certificateFile_.empty()) {
            options.ssl = &tls;  // Paho copies it
        }
        check(MQTTAsync_connect(client_, &options));
    }

    /// Disconnects after what is being written, and waits until that is done.
    void disconnect() {
        MQTTAsync_disconnectOptions options = MQTTAsync_disconnectOptions_initializer;
        options.timeout = 2000;
        options.context = this;
        options.onSuccess = [](void* self, MQTTAsync_successData*) {
            static_cast<PahoClient*>(self)->setDone();
        };
        options.onFailure = [](void* self, MQTTAsync_failureData*) {
            static_cast<PahoClient*>(self)->setDone();
        };
        {
            const std::lock_guard lock(mutex_);
            done_ = false;
        }
        if (MQTTAsync_disconnect(client_, &options) == MQTTASYNC_SUCCESS) {
            waitUntilDone();
        }
    }

    void setDone() {
        const std::lock_guard lock(mutex_);
        done_ = true;
        changed_.notify_all();
    }

    void waitUntilDone() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return done_; });
    }

    static void check(int result) {
        if (result != MQTTASYNC_SUCCESS) {
            throw std::runtime_error("Paho: " + std::to_string(result));
        }
    }

private:
    std::string certificateFile_;
    MQTTAsync client_ = nullptr;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool done_ = false;
};

}  // namespace xel::bench
