#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/integration/support/MqttTestClient.h"

namespace xel::matrix {

/// The other users of a real broker, by a client of another make: sends messages to the clients of a
/// row, and has everything that they publish.
class Correspondent {
public:
    explicit Correspondent(std::uint16_t port, std::string caFile = {})
        : port_(port), caFile_(std::move(caFile)) {
        comeBack();
    }

    /// Once the broker is there again.
    void comeBack() {
        client_ = std::make_unique<sandbox::test::MqttTestClient>(
            sandbox::test::MqttTestClient::Options{.clientId = "correspondent",
                                                   .user = "user",
                                                   .password = "password",
                                                   .port = port_,
                                                   .caFile = caFile_,
                                                   .cleanSession = true});
        if (client_->connect() != 0 || client_->subscribe("app/a1b2c3/publish/#") > 1) {
            throw std::runtime_error("the correspondent does not reach the broker: " + client_->lastError());
        }
    }

    /// Returns when the broker has it. `device`: of which user, and which one.
    void send(const std::string& text, const std::string& device = "alice01/D3V1CE") {
        if (!client_->publish("app/a1b2c3/user/" + device,
                              R"({"messageBody":")" + text + R"(","id":"id-)" + text + R"("})")) {
            throw std::runtime_error("the broker does not take the message " + text);
        }
    }

    /// Whether the text has come, after a look at what has.
    [[nodiscard]] bool has(std::string_view text) { return countOf(text) > 0; }

    [[nodiscard]] std::size_t countOf(std::string_view text) {
        while (const auto message = client_->receiveIfThere()) {
            payloads_.push_back(message->payload);
        }
        return static_cast<std::size_t>(
            std::count_if(payloads_.begin(), payloads_.end(), [text](const std::string& payload) {
                return payload.find('"' + std::string(text) + '"') != std::string::npos;
            }));
    }

private:
    std::uint16_t port_;
    std::string caFile_;
    std::unique_ptr<sandbox::test::MqttTestClient> client_;
    std::vector<std::string> payloads_;
};

}  // namespace xel::matrix
