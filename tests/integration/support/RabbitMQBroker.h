#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace xel::test {

/// Who may use the broker, and what he may publish on.
struct RabbitMQUser {
    std::string name;
    std::string password;
    /// The topics that he may publish on: a regular expression on the topic with its slashes as dots.
    /// RabbitMQ ends the connection of whoever publishes on another one.
    std::string mayPublish = ".*";
};

/// A RabbitMQ of the test's own with the MQTT plugin: the node, its port mapper, its files and its cookie end
/// with the object. Everything listens on the loopback interface, on ports that the system chose; a node that
/// the machine runs as a service is neither needed nor touched.
///
/// It takes several seconds to start.
class RabbitMQBroker {
public:
    /// Returns when the broker takes connections. Throws std::runtime_error, with the node's last words, when
    /// it does not start in three attempts.
    explicit RabbitMQBroker(const std::vector<RabbitMQUser>& users);
    ~RabbitMQBroker();

    [[nodiscard]] std::uint16_t mqttPort() const;
    [[nodiscard]] std::chrono::milliseconds startTime() const { return startTime_; }

    /// Whether the node logs the text, now or within ten seconds.
    [[nodiscard]] bool logs(std::string_view text);

private:
    class Node;

    std::unique_ptr<Node> node_;
    std::chrono::milliseconds startTime_{};
};

}  // namespace xel::test
