#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/XelPushClient.h"
#include "sandbox/state/SandboxInfo.h"

namespace xel::test {

/// A log sink that keeps what it is given.
class KeepingLogSink : public LogSink {
public:
    void write(std::string_view line) override;
    [[nodiscard]] bool contains(std::string_view text) const;

private:
    mutable std::mutex mutex_;
    std::string text_;
};

struct LiveClientOptions {
    std::filesystem::path home;
    std::string userId = "alice01";
    std::vector<std::string> channels;
    bool usingTLS = true;
    /// Empty: the service's own authority.
    std::filesystem::path caFile;
    /// Empty: the service's.
    std::string brokerPassword;
    /// The host that the broker is asked for; the certificate is for it.
    std::string brokerHost = "localhost";
    bool hearsDeliveries = false;
    /// The bus on which logind is; empty: none.
    std::string systemBus;
    MQTTSessionOptions session{};
    /// What the host stands on: with or without what needs a bus.
    Machine (*makeMachine)(const LinuxOptions&) = makeLinuxMachine;
};

/// A host: the shipped client on the Linux platform against a running service, and everything it was told.
///
/// Dropping it and making another one on the same home is a restart of the host's process.
class LiveClient {
public:
    LiveClient(const sandbox::SandboxInfo& info, LiveClientOptions options);
    ~LiveClient();
    LiveClient(const LiveClient&) = delete;
    LiveClient& operator=(const LiveClient&) = delete;

    /// Registers the application, and the user, which connects.
    void registerUser();
    /// Registers the application and connects with the identity that the home holds.
    void connectAgain();

    /// Runs the client's loop until the condition holds; false when it does not within a minute, in which the
    /// slowest of brokers answers on a busy machine.
    bool runUntil(const std::function<bool()>& condition);
    /// Runs the client's loop for that long.
    void runFor(std::chrono::milliseconds duration);
    bool runUntilState(std::string_view state);
    bool runUntilMessages(std::size_t count);

    /// The last of the states told.
    [[nodiscard]] std::string state() const { return states.empty() ? std::string() : states.back(); }

    std::vector<std::string> states;
    std::vector<std::string> subscribed;
    std::vector<PushClientMessage> messages;
    std::vector<DeliveryMessage> deliveries;
    std::vector<EventMessage> events;
    std::vector<NSError> registrationErrors;
    std::vector<NSError> publishErrors;
    std::shared_ptr<KeepingLogSink> log = std::make_shared<KeepingLogSink>();

    [[nodiscard]] PushClientManager& push() { return *push_; }
    [[nodiscard]] LinuxApplication& application() { return *application_; }

private:
    class Listener;

    sandbox::SandboxInfo info_;
    LiveClientOptions options_;
    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<LinuxApplication> application_;
    std::shared_ptr<Listener> listener_;
    std::unique_ptr<PushClientManager> push_;
};

}  // namespace xel::test
