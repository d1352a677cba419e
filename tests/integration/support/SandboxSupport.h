#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/SandboxService.h"
#include "sandbox/relay/Json.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

struct mosquitto;

namespace xel::sandbox::test {

/// How long a test waits for what must come. Nothing waits this long unless it fails.
inline constexpr std::chrono::seconds kPatience{20};

/// Keeps the lines that a service writes.
class LogKeeper {
public:
    [[nodiscard]] LogSink sink();
    [[nodiscard]] std::vector<std::string> lines() const;
    /// Whether a line contains `text`.
    [[nodiscard]] bool contains(const std::string& text) const;
    /// Whether a talkative broker has lost a client that did not say goodbye. Its words depend on what was
    /// under way on the connection, over TLS above all.
    [[nodiscard]] bool tellsOfALostClient() const;

private:
    struct Kept {
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};

/// Options for a service on a folder and on free ports of its own.
SandboxOptions makeOptions(const TemporaryFolder& folder, const LogKeeper& log);

/// A service that runs for the length of a test.
struct RunningSandbox {
    RunningSandbox();
    explicit RunningSandbox(SandboxOptions changed);

    TemporaryFolder folder;
    LogKeeper log;
    std::unique_ptr<SandboxService> service;

    [[nodiscard]] const SandboxInfo& info() const { return service->info(); }
};

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
        std::string clientId;
        std::string user;
        std::string password;
        std::uint16_t port{0};
        std::filesystem::path caFile;  ///< with TLS when given
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

    void disconnect();

private:
    struct Callbacks;

    template <typename Done>
    bool runUntil(Done done);

    Options options_;
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> client_;
    std::optional<int> connack_;
    bool sessionPresent_{false};
    std::string lastError_;
    std::optional<int> granted_;
    std::optional<int> acknowledged_;
    std::deque<ReceivedMessage> received_;
};

struct HttpAnswer {
    unsigned status{0};
    Json body;
    std::string error;  ///< why there is no answer
};

/// One HTTPS request to localhost, the server's certificate and name checked against `caFile`.
HttpAnswer askHttps(std::uint16_t port, const std::filesystem::path& caFile, const std::string& method,
                    const std::string& target, const std::string& body = {});

/// The same to the service's REST backend, with its access token.
HttpAnswer askRest(const SandboxInfo& info, const std::string& method, const std::string& route,
                   const Json& body = Json());

}  // namespace xel::sandbox::test
