#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "sandbox/relay/Json.h"
#include "sandbox/state/SandboxInfo.h"

struct mosquitto;

namespace xel::sandbox::test {

/// How long a test waits for what must come. Nothing waits this long unless it fails.
inline constexpr std::chrono::seconds kPatience{20};

struct ReceivedMessage {
    std::string topic;
    std::string payload;
    int qos{0};
    bool retained{false};

    [[nodiscard]] Json json() const { return Json::parse(payload, nullptr, false); }
};

/// An MQTT 3.1.1 client of libmosquitto's, driven by the test's own thread.
class MqttTestClient {
public:
    struct Options {
        std::string clientId{};
        std::string user{};
        std::string password{};
        std::uint16_t port{0};
        std::filesystem::path caFile{};  ///< with TLS when given
        bool cleanSession{false};
    };

    explicit MqttTestClient(Options options);
    /// Of the service's application, on its plain port: a client of `user` on `device`.
    MqttTestClient(const SandboxInfo& info, const std::string& user, const std::string& device,
                   bool cleanSession = false);
    /// Drops the connection without a DISCONNECT, unless `disconnect` was called.
    ~MqttTestClient();
    MqttTestClient(const MqttTestClient&) = delete;
    MqttTestClient& operator=(const MqttTestClient&) = delete;

    /// The CONNACK's return code, or -1 when no connection was made (`lastError` says why).
    int connect();
    [[nodiscard]] bool sessionPresent() const { return sessionPresent_; }
    [[nodiscard]] const std::string& lastError() const { return lastError_; }

    /// The granted QoS; 128 for a refusal, -1 for no answer.
    int subscribe(const std::string& filter, int qos = 1);

    /// Publishes and waits for the acknowledgement of a QoS 1 publication. Whether that came.
    bool publish(const std::string& topic, const std::string& payload, int qos = 1, bool retain = false);

    /// The next message, or nothing when none comes in time.
    std::optional<ReceivedMessage> receive();

    /// The next message that has come, without waiting for one.
    std::optional<ReceivedMessage> receiveIfThere();

    void disconnect();

private:
    struct Callbacks;

    template <typename Done>
    bool runUntil(Done done);
    std::optional<ReceivedMessage> takeFirst();

    Options options_;
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> client_;
    std::optional<int> connack_;
    bool sessionPresent_{false};
    std::string lastError_;
    std::optional<int> granted_;
    std::optional<int> acknowledged_;
    std::deque<ReceivedMessage> received_;
};

}  // namespace xel::sandbox::test
