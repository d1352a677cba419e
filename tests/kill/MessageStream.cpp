#include "tests/kill/MessageStream.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include <mosquitto.h>

#include "tests/kill/MosquittoCodes.h"

namespace xel::killtest {
namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 2ms;
constexpr auto kPatience = 30s;

}  // namespace

MessageStream::MessageStream(const xel::sandbox::SandboxInfo& info, const std::string& channel,
                             std::string word)
    : topic_("app/" + info.appId + "/publish/" + channel), word_(std::move(word)) {
    const std::string clientId = info.appId + "/sender01/kill-test";
    client_ = mosquitto_new(clientId.c_str(), true, this);
    if (client_ == nullptr) {
        throw std::runtime_error("no memory for a client");
    }
    mosquitto_publish_callback_set(client_, [](mosquitto*, void* self, int) {
        static_cast<MessageStream*>(self)->acknowledged_.fetch_add(1);
    });
    requireMosquitto(mosquitto_username_pw_set(client_, info.brokerUser.c_str(), info.brokerPassword.c_str()),
                     "credentials");
    requireMosquitto(mosquitto_connect(client_, info.address.c_str(), info.mqttPort, 60), "connect");
    requireMosquitto(mosquitto_loop_start(client_), "network thread");
}

MessageStream::~MessageStream() {
    isStopping_ = true;
    if (sender_.joinable()) {
        sender_.join();
    }
    mosquitto_disconnect(client_);
    mosquitto_loop_stop(client_, true);
    mosquitto_destroy(client_);
}

void MessageStream::sendOne(const std::string& body) {
    const std::string payload = R"({"messageBody":")" + body + R"(","data":{"from":"kill test"}})";
    requireMosquitto(mosquitto_publish(client_, nullptr, topic_.c_str(), static_cast<int>(payload.size()),
                                       payload.data(), 1, false),
                     "publish");
    ++published_;
}

void MessageStream::start() {
    isStopping_ = false;
    sender_ = std::thread([this] { sendUntilStopped(); });
}

void MessageStream::sendUntilStopped() {
    while (!isStopping_) {
        sent_.push_back(word_ + " " + std::to_string(sent_.size() + 1));
        sendOne(sent_.back());
        std::this_thread::sleep_for(kPause);
    }
}

std::vector<std::string> MessageStream::stop() {
    isStopping_ = true;
    sender_.join();
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (acknowledged_ < published_) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error("the broker did not acknowledge all messages");
        }
        std::this_thread::sleep_for(10ms);
    }
    return sent_;
}

}  // namespace xel::killtest
