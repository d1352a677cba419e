#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "tests/integration/desktop/support/BusLoop.h"

namespace xel::test {

/// One call of Notify as a server received it.
struct ReceivedNotify {
    std::string applicationName;
    std::uint32_t replacesId = 0;
    std::string summary;
    std::string body;
    std::vector<std::string> actions;
    std::map<std::string, sdbus::Variant> hints;
    std::uint32_t id = 0;

    /// The text of a hint; empty when it is not there.
    [[nodiscard]] std::string hint(const std::string& name) const;
};

/// A notification server whose abilities the test chooses, on a connection and a thread of its own.
/// Thread: any.
class MockNotificationServer {
public:
    struct Abilities {
        std::vector<std::string> capabilities{"body", "body-markup", "actions", "sound"};
        /// Notify is refused with an error.
        bool isRefusing = false;
        /// Calls are never answered.
        bool isSilent = false;
        /// Every notification gets the same id.
        bool isGivingOneId = false;
        /// Ids begin here, so that two servers are told apart.
        std::uint32_t firstId = 1;
    };

    explicit MockNotificationServer(const std::string& busAddress) : MockNotificationServer(busAddress, {}) {}
    MockNotificationServer(const std::string& busAddress, Abilities abilities);
    MockNotificationServer(const MockNotificationServer&) = delete;
    MockNotificationServer& operator=(const MockNotificationServer&) = delete;
    ~MockNotificationServer();

    [[nodiscard]] std::vector<ReceivedNotify> notifies() const;
    /// The ids that were to be closed.
    [[nodiscard]] std::vector<std::uint32_t> closeRequests() const;

    /// The user acts.
    void invoke(std::uint32_t id, const std::string& key);
    void dismiss(std::uint32_t id);

    /// Gives its name up and takes it again, as another server would that is to be taken for a new one.
    void changeHands();
    /// Answers the calls that a silent server has left without an answer.
    void answerAtLast();
    /// Or refuses them.
    void refuseAtLast();
    /// From now on it does not say what it can.
    void refuseCapabilities();

private:
    using Unanswered = std::pair<sdbus::MethodCall, std::uint32_t>;

    void takeNotify(sdbus::MethodCall& call);
    std::vector<Unanswered> takeUnanswered();

    const Abilities abilities_;
    mutable std::mutex mutex_;
    bool isRefusingCapabilities_ = false;
    std::vector<ReceivedNotify> notifies_;
    std::vector<std::uint32_t> closeRequests_;
    std::uint32_t nextId_;
    std::unique_ptr<sdbus::IConnection> connection_;
    /// Calls refer to the connection, so they go before it.
    std::vector<Unanswered> unanswered_;
    std::unique_ptr<sdbus::IObject> object_;
    BusLoop loop_;
};

}  // namespace xel::test
