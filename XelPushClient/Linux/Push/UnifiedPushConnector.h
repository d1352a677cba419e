#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Linux/Application/PushTokenSource.h"
#include "XelPushClient/Linux/Push/UnifiedPushBus.h"
#include "XelPushClient/Linux/Push/UnifiedPushRegistration.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Push tokens by UnifiedPush: registers the host with a distributor of the session, keeps the registration
/// in a home's store, and decrypts the messages that come.
///
/// A message is a JSON object; one that is none, or is not for these keys, leaves a log line. What
/// distributors call before a home is open waits for it. Nothing of keys, tokens, endpoints and messages is
/// logged. Owner: the application. Thread: the run loop.
class UnifiedPushConnector final : public PushTokenSource {
public:
    /// How long a token may take.
    static constexpr std::chrono::seconds kPatience{10};
    /// Calls that wait for a home; the oldest beyond them are dropped.
    static constexpr std::size_t kMostWaitingCalls = 64;

    struct Surroundings {
        std::shared_ptr<NSRunLoop> runLoop;
        std::shared_ptr<LogSink> logSink;
        std::shared_ptr<NSJSONSerialization> json;
        std::shared_ptr<UnifiedPushBus> bus;
        /// The distributor that the user wants; empty for any.
        std::string preferredDistributor;
    };
    struct Events {
        /// The token is another one than was answered last, or came after an answer that there is none.
        std::function<void(const Data& token)> tokenHasChanged;
        std::function<void(Dictionary payload)> notificationHasCome;
    };

    /// Opens the bus.
    UnifiedPushConnector(Surroundings surroundings, Events events);
    UnifiedPushConnector(const UnifiedPushConnector&) = delete;
    UnifiedPushConnector& operator=(const UnifiedPushConnector&) = delete;
    ~UnifiedPushConnector() override;

    void requestToken(Answer answer) override;
    void attachStore(const std::shared_ptr<NSUserDefaults>& store) override;

private:
    using Work = std::function<void(UnifiedPushConnector&)>;

    void onceAHomeIsOpen(Work work);

    void beginRegistration();
    void registerWithChosen(const DistributorNames& names);
    [[nodiscard]] std::optional<NSError> prepareRegistration(const std::string& distributor,
                                                             const DistributorNames& names);
    void endRegistration(const Result<Data>& token);
    [[nodiscard]] bool isMine(const std::string& token) const;
    [[nodiscard]] bool store();

    void takeMessage(const std::string& token, const Data& message);
    void takeEndpoint(const std::string& token, const std::string& endpoint);
    void takeUnregistered(const std::string& token);

    Surroundings surroundings_;
    Events events_;
    std::weak_ptr<NSUserDefaults> store_;
    bool hasLoaded_ = false;
    std::optional<UnifiedPushRegistration> registration_;
    std::deque<Work> waitingCalls_;

    /// The registration under way has the number of its attempt, so that a late answer is known.
    std::vector<Answer> answers_;
    std::uint64_t attempt_ = 0;
    bool isRegistering_ = false;
    std::shared_ptr<NSTimer> timer_;
    std::optional<Data> toldToken_;
    Lifeline<UnifiedPushConnector> life_{*this};
};

}  // namespace xel
