#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/Simulation/SimulatedService.h"
#include "XelPushClient/XelPushClient.h"

namespace xel {

/// A host's client at a simulated service.
class SimulatedServiceTest : public testing::Test {
protected:
    static constexpr const char* kClientId = "shop/alice01/D1";
    static constexpr const char* kTopic = "app/shop/user/alice01/default";

    SimulatedServiceTest() { PushClientManager::setDevelopment(true); }
    ~SimulatedServiceTest() override { PushClientManager::setDevelopment(false); }

    void start() {
        push_ = std::make_unique<PushClientManager>(machine_.machine(), machine_.makeHome());
        push_->setMessageHandler(
            [this](const PushClientMessage& message) { heard_.push_back(message.id.value_or("")); });
        push_->registerApplication("shop", "key", "user", "password");
        push_->registerUser("alice01");
        machine_.advanceBy(std::chrono::seconds(1));
    }

    void startConnected() {
        start();
        ASSERT_EQ(state(), "Connected");
    }

    [[nodiscard]] std::string state() const { return std::string(push_->connectionStateString()); }

    /// A message to the user, from whoever sends messages.
    void send(const std::string& id) {
        machine_.broker->publish({kTopic, R"({"id":")" + id + R"("})", 1, false});
        machine_.runUntilIdle();
    }

    /// What clients have sent, by kind, since it was last asked.
    std::vector<std::string> takeSent() {
        std::vector<std::string> sent;
        for (const auto& record : machine_.broker->records()) {
            sent.emplace_back(nameOfPacketType(record.packet.type));
        }
        machine_.broker->clearRecords();
        return sent;
    }

    FakeMachine machine_;
    SimulatedService service_{machine_};
    std::unique_ptr<PushClientManager> push_;
    std::vector<std::string> heard_;
};

}  // namespace xel
