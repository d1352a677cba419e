#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "tests/fuzz/support/Require.h"

namespace xel::fuzz {

inline constexpr std::string_view kSecretKey = "K3Y-nobody-may-read";
inline constexpr std::string_view kSecretPassword = "P4SSWORD-nobody-may-read";

/// An input that holds one itself says nothing of the client, which repeats what others tell it.
[[nodiscard]] inline bool holdsSecret(std::string_view text) {
    return text.find(kSecretKey) != std::string_view::npos ||
           text.find(kSecretPassword) != std::string_view::npos;
}

inline constexpr std::string_view kBrokerClientId = "shop/alice01/D3V1CE";

/// A host's counts of what it heard.
class CountingHost final : public PushClientManagerDelegate {
public:
    std::size_t messages = 0;
    std::size_t deliveries = 0;
    std::size_t events = 0;
    std::size_t registrations = 0;
    std::size_t registrationFailures = 0;
    bool isListening = true;

    void pushClientManagerDidReceivedMessage(const PushClientMessage& /*message*/) override {
        count(messages);
    }
    void pushClientManagerDidReceivedDelivery(const DeliveryMessage& /*delivery*/) override {
        count(deliveries);
    }
    void pushClientManagerDidReceivedEventMessage(const EventMessage& /*event*/) override { count(events); }
    void pushClientManagerDidRegisterUser(bool /*registered*/) override { count(registrations); }
    void pushClientManagerDidFailRegisterUser(const NSError& error) override {
        count(registrationFailures);
        requireNoSecret(error.localizedDescription());
    }
    void pushClientManagerDidChangedServerConnectionState() override {
        require(isListening, "nobody is told anything of a client that is gone");
    }

    static void requireNoSecret(std::string_view text) {
        require(!holdsSecret(text), "no secret is told to anybody");
    }

private:
    void count(std::size_t& number) {
        require(isListening, "nobody is told anything of a client that is gone");
        ++number;
    }
};

/// The whole client on a fake machine, with its log on.
class FuzzClient {
public:
    FuzzClient() = default;
    ~FuzzClient() {
        end();
        machine.discardPostedWork();
    }
    FuzzClient(const FuzzClient&) = delete;
    FuzzClient& operator=(const FuzzClient&) = delete;

    /// Starts a process, and registers application and user.
    void launch() {
        home_.emplace(machine.makeHome());
        manager = std::make_unique<PushClientManager>(machine.machine(), *home_);
        host = std::make_shared<CountingHost>();
        manager->addDelegate(host);
        manager->setEnableLog(true);
        manager->registerApplication("shop", kSecretKey, "broker-user", kSecretPassword);
        manager->registerUser("alice01");
        machine.runUntilIdle();
    }

    /// Answers the registration as the service does, and lets the client connect.
    void connect() {
        machine.http->answer("POST", "installations", 200, R"({"id":"D3V1CE"})");
        machine.http->answerAlways("PUT", "installations/*", 200, R"({"id":"D3V1CE"})");
        machine.runUntilIdle();
        machine.advanceBy(std::chrono::seconds(10));
    }

    /// The process is killed: nothing of it goes on.
    void kill() {
        host->isListening = false;
        manager.reset();
        home_.reset();
        machine.discardPostedWork();
    }

    /// The host destroys its client, and goes on itself: nothing more is heard, and nothing more is asked.
    void end() {
        if (manager == nullptr) {
            return;
        }
        manager.reset();
        host->isListening = false;
        machine.runUntilIdle();
        const std::size_t requests = machine.http->requests().size();
        const std::size_t connections = machine.network->connections().size();
        machine.advanceBy(std::chrono::hours(1));
        require(machine.http->requests().size() == requests, "a client that is gone asks for nothing");
        require(machine.network->connections().size() == connections,
                "a client that is gone connects nowhere");
        home_.reset();
    }

    void requireNoSecretInLog() const {
        for (const auto& line : machine.logSink->lines()) {
            CountingHost::requireNoSecret(line);
        }
    }

    FakeMachine machine;
    std::unique_ptr<PushClientManager> manager;
    std::shared_ptr<CountingHost> host;

private:
    std::optional<Home> home_;
};

}  // namespace xel::fuzz
