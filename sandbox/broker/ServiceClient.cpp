#include "sandbox/broker/ServiceClient.h"

#include <array>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

#include <mosquitto.h>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {
namespace {

constexpr const char* kClientId = "xelpush-sandbox-service";
constexpr const char* kAllEvents = "app/+/event/#";
constexpr const char* kAllWaiting = "service/waiting/#";
constexpr int kKeepAliveSeconds = 60;

// The library counts its users; it stays set up for the life of the process.
void setUpLibrary() {
    static const int outcome = mosquitto_lib_init();
    if (outcome != MOSQ_ERR_SUCCESS) {
        throw SandboxError(std::string("cannot set up libmosquitto: ") + mosquitto_strerror(outcome));
    }
}

}  // namespace

// What is waited for: acknowledgements by packet id, and the subscription. Shared with libmosquitto's thread.
class ServiceClient::Waiting {
public:
    // Publishes while no acknowledgement can be looked up, because one may come before the id is noted.
    // Takes the handler only when the publication was accepted.
    template <typename Publish>
    bool publishAndNote(Publish publish, PublishHandler& onTaken) {
        const std::lock_guard lock(mutex_);
        int packetId = 0;
        if (publish(&packetId) != MOSQ_ERR_SUCCESS) {
            return false;
        }
        handlers_[packetId] = std::move(onTaken);
        return true;
    }

    PublishHandler take(int packetId) {
        const std::lock_guard lock(mutex_);
        const auto found = handlers_.find(packetId);
        if (found == handlers_.end()) {
            return nullptr;
        }
        PublishHandler handler = std::move(found->second);
        handlers_.erase(found);
        return handler;
    }

    std::map<int, PublishHandler> takeAll() {
        const std::lock_guard lock(mutex_);
        return std::exchange(handlers_, {});
    }

    void noteSubscribed() {
        const std::lock_guard lock(mutex_);
        subscribed_ = true;
        changed_.notify_all();
    }

    bool waitUntilSubscribed(std::chrono::milliseconds patience) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [this] { return subscribed_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<int, PublishHandler> handlers_;
    bool subscribed_{false};
};

// The C border: called by libmosquitto's thread; no exception crosses it.
struct ServiceClient::Callbacks {
    static void onConnect(mosquitto* client, void* self, int reason) noexcept {
        if (reason == 0) {
            // In one packet, so that its acknowledgement is that of both. The library writes to neither text.
            std::array<char*, 2> filters{const_cast<char*>(kAllEvents), const_cast<char*>(kAllWaiting)};
            mosquitto_subscribe_multiple(client, nullptr, static_cast<int>(filters.size()), filters.data(), 1,
                                         0, nullptr);
        } else {
            guard(self, [reason](ServiceClient& service) {
                service.log_.write(std::string("the broker refuses the service: ") +
                                   mosquitto_connack_string(reason));
            });
        }
    }

    static void onSubscribe(mosquitto*, void* self, int, int, const int*) noexcept {
        guard(self, [](ServiceClient& service) { service.waiting_->noteSubscribed(); });
    }

    static void onPublish(mosquitto*, void* self, int packetId) noexcept {
        guard(self, [packetId](ServiceClient& service) {
            if (const PublishHandler handler = service.waiting_->take(packetId)) {
                handler(true);
            }
        });
    }

    static void onMessage(mosquitto*, void* self, const mosquitto_message* message) noexcept {
        guard(self, [message](ServiceClient& service) {
            if (message->retain) {
                return;  // kept from before: it was handed over when it was published
            }
            const auto length = static_cast<std::size_t>(message->payloadlen);
            service.onEvent_(
                message->topic,
                length == 0 ? "" : std::string_view(static_cast<const char*>(message->payload), length));
        });
    }

private:
    template <typename Work>
    static void guard(void* self, Work work) noexcept {
        auto& service = *static_cast<ServiceClient*>(self);
        try {
            work(service);
        } catch (const std::exception& error) {
            service.log_.write(std::string("the service's broker client failed: ") + error.what());
        }
    }
};

ServiceClient::ServiceClient(Settings settings, ProgressLog& log, EventHandler onEvent)
    : settings_(std::move(settings)),
      log_(log),
      onEvent_(std::move(onEvent)),
      waiting_(std::make_unique<Waiting>()),
      client_(nullptr, &mosquitto_destroy) {
    setUpLibrary();
    client_.reset(mosquitto_new(kClientId, false, this));
    if (client_ == nullptr || mosquitto_username_pw_set(client_.get(), settings_.user.c_str(),
                                                        settings_.password.c_str()) != MOSQ_ERR_SUCCESS) {
        throw SandboxError("cannot make the service's broker client: out of memory");
    }
    mosquitto_connect_callback_set(client_.get(), &Callbacks::onConnect);
    mosquitto_subscribe_callback_set(client_.get(), &Callbacks::onSubscribe);
    mosquitto_publish_callback_set(client_.get(), &Callbacks::onPublish);
    mosquitto_message_callback_set(client_.get(), &Callbacks::onMessage);
}

ServiceClient::~ServiceClient() {
    if (running_) {
        // First: the thread that is waited for next ends only once it is disconnected
        // (mosquitto_loop_stop).
        mosquitto_disconnect(client_.get());
        mosquitto_loop_stop(client_.get(), false);
    }
    for (const auto& [packetId, handler] : waiting_->takeAll()) {
        handler(false);
    }
}

bool ServiceClient::connect(std::chrono::milliseconds patience) {
    if (!running_) {
        if (mosquitto_connect(client_.get(), settings_.address.c_str(), settings_.port, kKeepAliveSeconds) !=
            MOSQ_ERR_SUCCESS) {
            return false;
        }
        if (mosquitto_loop_start(client_.get()) != MOSQ_ERR_SUCCESS) {
            throw SandboxError("cannot start the thread of the service's broker client");
        }
        running_ = true;  // from here on the library connects again by itself
    }
    return waiting_->waitUntilSubscribed(patience);
}

void ServiceClient::publish(const Publication& publication, PublishHandler onTaken) {
    const int quality = publication.live ? 0 : 1;
    const auto send = [&](int* packetId) {
        return mosquitto_publish(client_.get(), packetId, publication.topic.c_str(),
                                 static_cast<int>(publication.payload.size()), publication.payload.data(),
                                 quality, publication.stateful);
    };
    if (publication.live) {
        onTaken(send(nullptr) == MOSQ_ERR_SUCCESS);
    } else if (!waiting_->publishAndNote(send, onTaken)) {
        onTaken(false);
    }
}

}  // namespace xel::sandbox
