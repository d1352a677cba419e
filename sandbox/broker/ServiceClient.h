#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct mosquitto;
struct mosquitto_message;

namespace xel::sandbox {

class ProgressLog;

/// The service's own connection to its broker: what it publishes itself, the events that clients publish, and
/// the messages that wait for devices without a connection.
///
/// Runs on libmosquitto's thread, which starts with `connect` and ends with the object; it reconnects by
/// itself. The session is persistent, so that events published while it is away are read later. (libmosquitto
/// acknowledges an event before it hands it over: one can be lost when the service is killed in between.)
class ServiceClient {
public:
    struct Settings {
        std::string address;
        std::uint16_t port{0};
        std::string user;
        std::string password;
    };

    /// An event that a client, or the service, has published, or a message that waits, on its waitingTopic.
    /// Called on libmosquitto's thread.
    using EventHandler = std::function<void(std::string_view topic, std::string_view payload)>;

    /// Whether the broker has taken the publication. Called once, on libmosquitto's thread or inside
    /// `publish`.
    using PublishHandler = std::function<void(bool taken)>;

    struct Publication {
        std::string topic;
        std::string payload;
        bool live{false};      ///< at most once (QoS 0) rather than at least once
        bool stateful{false};  ///< retained
    };

    ServiceClient(Settings settings, ProgressLog& log, EventHandler onEvent);
    /// Closes the connection; publications not yet taken are answered with false.
    ~ServiceClient();
    ServiceClient(const ServiceClient&) = delete;
    ServiceClient& operator=(const ServiceClient&) = delete;

    /// One attempt to connect, or to go on with one that succeeded; waits up to `patience` for the
    /// subscription to events to be granted. Returns whether it was; if not, call it again.
    bool connect(std::chrono::milliseconds patience);

    /// Publishes, from any thread. A QoS 1 publication is taken when the broker has acknowledged it.
    void publish(const Publication& publication, PublishHandler onTaken);

private:
    struct Callbacks;
    class Waiting;

    Settings settings_;
    ProgressLog& log_;
    EventHandler onEvent_;
    std::unique_ptr<Waiting> waiting_;
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> client_;
    bool running_{false};
};

}  // namespace xel::sandbox
