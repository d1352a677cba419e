#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/Platform/Machine.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/matrix/support/RunUntil.h"

namespace xel::matrix {

struct MatrixClientOptions {
    std::uint16_t port = 0;
    std::string host = "127.0.0.1";
    bool usingTLS = false;
    /// The authority to trust; empty: those of the system.
    std::string caFile{};
    std::string restUrl = "https://127.0.0.1:1/api";
    /// Where its home is; empty: in a folder that ends with the client.
    std::string home{};
    MQTTSessionOptions session{};
    /// What else the machine is to be.
    std::function<void(Machine& machine)> change{};
    std::shared_ptr<AsioRunLoop> loop = std::make_shared<AsioRunLoop>();
};

/// The shipped client on the real platform, and everything that its host was told. It lives on the
/// test's thread.
class MatrixClient {
public:
    explicit MatrixClient(MatrixClientOptions options);
    ~MatrixClient();
    MatrixClient(const MatrixClient&) = delete;
    MatrixClient& operator=(const MatrixClient&) = delete;

    [[nodiscard]] PushClientManager& push() { return *push_; }
    [[nodiscard]] AsioRunLoop& loop() { return *loop_; }

    /// As an installation that is registered already.
    void connect();
    /// Runs the loop until the condition holds; false when the patience has ended first.
    [[nodiscard]] bool runUntil(const std::function<bool()>& done,
                                std::chrono::milliseconds patience = kPatience);
    void runFor(std::chrono::milliseconds time);
    [[nodiscard]] bool runUntilConnected();
    /// Until an attempt, or a connection, has ended with an error.
    [[nodiscard]] bool runUntilError();
    /// Until the condition holds, with a host that connects again at once after an error: three
    /// seconds, which the client would wait by itself, are the business of one row only.
    [[nodiscard]] bool healUntil(const std::function<bool()>& done);

    [[nodiscard]] bool isConnected() const;
    [[nodiscard]] bool isInError() const;
    /// What the host reads of the last failure; empty without one.
    [[nodiscard]] std::string failureText() const;
    /// How many messages with this text were delivered.
    [[nodiscard]] std::size_t countOf(std::string_view text) const;

    std::vector<std::string> states;
    std::vector<std::string> messages;
    std::vector<std::string> subscribed;
    std::vector<NSError> subscribeErrors;
    std::vector<NSError> publishErrors;
    std::vector<NSError> registrationErrors;
    int registrations = 0;

private:
    class Listener;

    contract::TemporaryFolder folder_;
    std::shared_ptr<AsioRunLoop> loop_;
    bool usesTLS_;
    std::shared_ptr<Listener> listener_;
    std::unique_ptr<PushClientManager> push_;
};

}  // namespace xel::matrix
