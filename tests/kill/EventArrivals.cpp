#include "tests/kill/EventArrivals.h"

#include <stdexcept>
#include <string_view>

#include <mosquitto.h>

#include "XelPushClient/Platform/TopicTable.h"
#include "sandbox/relay/Json.h"
#include "tests/kill/KillLoop.h"
#include "tests/kill/MosquittoCodes.h"

namespace xel::killtest {
namespace {

/// What stands for an event without an id: none is sent, so it is in nobody's list.
std::string idOf(std::string_view payload) {
    const auto event = xel::sandbox::parseJsonObject(payload);
    return event ? xel::sandbox::findText(*event, "id").value_or("(no id)") : "(no id)";
}

}  // namespace

EventArrivals::EventArrivals(const xel::sandbox::SandboxInfo& info) {
    const std::string clientId = info.appId + "/recorder01/kill-test";
    client_ = mosquitto_new(clientId.c_str(), true, this);
    if (client_ == nullptr) {
        throw std::runtime_error("no memory for a client");
    }
    mosquitto_subscribe_callback_set(client_, [](mosquitto*, void* self, int, int, const int*) {
        auto& arrivals = *static_cast<EventArrivals*>(self);
        const std::lock_guard lock(arrivals.mutex_);
        arrivals.isSubscribed_ = true;
    });
    mosquitto_message_callback_set(client_, [](mosquitto*, void* self, const mosquitto_message* publication) {
        static_cast<EventArrivals*>(self)->take(*publication);
    });
    try {
        requireMosquitto(
            mosquitto_username_pw_set(client_, info.brokerUser.c_str(), info.brokerPassword.c_str()),
            "credentials");
        requireMosquitto(mosquitto_connect(client_, info.address.c_str(), info.mqttPort, 60), "connect");
        requireMosquitto(mosquitto_loop_start(client_), "network thread");
        const std::string filter = "app/" + info.appId + "/event/+/+";
        requireMosquitto(mosquitto_subscribe(client_, nullptr, filter.c_str(), kAtLeastOnce), "subscribe");
        const auto isSubscribed = [this] {
            const std::lock_guard lock(mutex_);
            return isSubscribed_;
        };
        if (!waitFor(isSubscribed, kPatienceForTheRest)) {
            throw std::runtime_error("the broker did not answer the subscription");
        }
    } catch (...) {
        end();
        throw;
    }
}

EventArrivals::~EventArrivals() {
    end();
}

void EventArrivals::end() {
    mosquitto_disconnect(client_);
    mosquitto_loop_stop(client_, true);
    mosquitto_destroy(client_);
}

void EventArrivals::take(const mosquitto_message& publication) {
    const std::string_view payload(static_cast<const char*>(publication.payload),
                                   static_cast<std::size_t>(publication.payloadlen));
    std::string id = idOf(payload);
    const std::lock_guard lock(mutex_);
    ++rows_[std::move(id)];
}

EventArrivals::Rows EventArrivals::rows() const {
    const std::lock_guard lock(mutex_);
    return rows_;
}

}  // namespace xel::killtest
