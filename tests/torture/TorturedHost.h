#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/RecordingDiagnostics.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/torture/Memory.h"
#include "tests/torture/Strokes.h"
#include "tests/torture/TorturedPorts.h"

namespace xel::torture {

/// A host with the whole client in it, on a fake machine whose ports and memory may fail, over any number of
/// lives.
class TorturedHost {
public:
    TorturedHost();
    ~TorturedHost();
    TorturedHost(const TorturedHost&) = delete;
    TorturedHost& operator=(const TorturedHost&) = delete;

    /// Starts a process on what the disk holds. False when not even the client could be made.
    bool start();
    /// Ends the process at once.
    void kill();
    /// Registers, as a host does at its start, and again when it hears nothing.
    void introduceItself();

    /// Calls an operation; missing when it threw, which the host then knows.
    template <class Operation>
    auto ask(Operation operation) -> std::optional<decltype(operation(std::declval<PushClientManager&>()))> {
        if (push_ != nullptr) {
            try {
                const InClient in;
                return operation(*push_);
            } catch (const std::exception&) {
                ++exceptions_;
            }
        }
        return std::nullopt;
    }

    /// Lets time pass. What travels out of the loop is counted, and the loop driven on, as a host may.
    void drive(FakeRunLoop::Duration duration);

    [[nodiscard]] bool isRunning() const { return push_ != nullptr; }
    [[nodiscard]] bool isConnected() const;

    FakeMachine machine;
    Strokes strokes;  ///< on the ports' answers

    /// The ids of messages, in their order.
    [[nodiscard]] const std::vector<std::string>& received() const { return received_; }
    /// How many messages were dropped because they could not be read.
    [[nodiscard]] std::size_t unreadableCount() const;
    /// What came out of the loop, or of an operation.
    [[nodiscard]] std::size_t exceptions() const { return exceptions_; }

    static constexpr const char* kClientId = "shop/alice01/D1";

private:
    [[nodiscard]] Machine makeMachine() const;
    [[nodiscard]] Home makeHome();

    std::shared_ptr<TorturedRunLoop> runLoop_;
    std::shared_ptr<RecordingDiagnostics> diagnostics_;
    std::shared_ptr<FakeApplication> application_;
    std::unique_ptr<PushClientManager> push_;
    std::vector<std::string> received_;
    std::size_t exceptions_ = 0;
};

}  // namespace xel::torture
