#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTConnection.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/MQTTSDK/OutgoingTraffic.h"
#include "XelPushClient/MQTTSDK/TurnClosingRoute.h"
#include "XelPushClient/Platform/ByteStream.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// What a session stands on. The loops and the memory outlive it.
struct MQTTSessionSurroundings {
    NSRunLoop& runLoop;
    NSRunLoop* mainRunLoop;  ///< null, or the loop that broadcast notifications take
    SessionMemory& memory;
    std::shared_ptr<ByteStreamFactory> streams;
    std::shared_ptr<const Clock> clock;
};

/// The client's own MQTT session: what outlives a connection, and the one connection at a time. What it sends
/// is the matter of its outgoing traffic; here are the life of the connection, the turns and the reports.
///
/// Beyond the port: after a turn that the owner ended by closing, or that the network ended,
/// `sessionDidDeliver` comes all the same, and `acknowledge` then does nothing. An exception of the owner's
/// travels out of the run loop, and the session goes on from where it was; one thrown while a dropped session
/// reports its closing is thrown from the loop a pass later.
class MQTTClientSession final : public MQTTSession, private MQTTConnectionObserver {
public:
    MQTTClientSession(MQTTSessionParameters parameters, const MQTTSessionOptions& options,
                      MQTTSessionSurroundings surroundings);
    ~MQTTClientSession() override;
    MQTTClientSession(const MQTTClientSession&) = delete;
    MQTTClientSession& operator=(const MQTTClientSession&) = delete;

    void setDelegate(MQTTSessionDelegate* delegate) override;
    [[nodiscard]] MQTTSessionStatus status() const override { return status_; }

    void connectToHost(std::string_view host, std::uint16_t port, bool usingSSL) override;
    void close(CloseEnded ended = nullptr) override;

    MQTTSubscribeOutcome subscribeToTopic(std::string_view topic, int qos) override;
    MQTTSubscribeOutcome subscribeToTopics(const TopicTable& topics) override;
    MQTTUnsubscribeOutcome unsubscribeTopic(std::string_view topic) override;
    MQTTUnsubscribeOutcome unsubscribeTopics(std::span<const std::string> topics) override;

    [[nodiscard]] bool sendsAtMostOnce() const override { return traffic_.sendsAtMostOnce(); }
    Result<void> publishDataAtMostOnce(std::string_view data, std::string_view topic, bool retain) override;
    Result<void> publishDataAtLeastOnce(std::string_view data, std::string_view topic, bool retain) override;

private:
    void connectionWillIntroduceItself() override;
    void connectionDidOpen(bool sessionPresent) override;
    void connectionDidEnd(MQTTSessionEvent event, const NSError& error) override;
    void connectionWillDeliver() override;
    void connectionDidReceive(const MQTTInboundPacket& publication, bool isRepeat) override;
    void connectionDidReceiveAnswer(MQTTEngineEvent answer, const MQTTInboundPacket& packet) override;
    void connectionDidFinishStep() override;
    [[nodiscard]] bool connectionAwaitsAnswer() const override { return traffic_.isAwaitingAnswer(); }
    void connectionDidEndTurn(std::weak_ptr<MQTTConnection> connection, std::uint64_t turn) override;

    /// A SUBACK that the owner is to hear of.
    struct SubscribeAnswer {
        std::uint16_t packetId = 0;
        bool isRestoration = false;
        std::vector<std::uint8_t> codes;
    };

    MQTTSubscribeOutcome subscribe(const TopicTable& topics, SubscribePurpose purpose);
    void report(MQTTSessionEvent event, const std::optional<NSError>& error = std::nullopt);
    /// Tells what is untold, in a later pass of the loop; or now.
    void tellUntoldLater();
    void tellUntold();
    void tell(const UntoldOutcome& outcome);
    void armRetryTimer();
    void retryTimerDidFire();
    void takeSubscribeAnswer(std::uint16_t packetId);
    void tellSubscribeAnswers();
    void closeTurn(const std::weak_ptr<MQTTConnection>& connection, std::uint64_t turn);
    [[nodiscard]] static MQTTClientSession* sessionAt(const SessionAnchor& anchor);

    std::shared_ptr<const MQTTSessionParameters> parameters_;
    MQTTSessionOptions options_;
    NSRunLoop& runLoop_;
    std::shared_ptr<ByteStreamFactory> streams_;
    std::shared_ptr<const Clock> clock_;
    std::shared_ptr<PacketIds> packetIds_;
    std::shared_ptr<LostAcknowledgements> acknowledgements_;
    OutgoingTraffic traffic_;
    TurnClosingRoute closingRoute_;
    std::shared_ptr<SessionAnchor> anchor_;

    MQTTSessionDelegate* delegate_ = nullptr;
    MQTTSessionStatus status_ = MQTTSessionStatus::Created;
    bool isBeingDestroyed_ = false;
    std::deque<SubscribeAnswer> untoldAnswers_;  // of the connection
    std::shared_ptr<NSTimer> retryTimer_;
    std::chrono::steady_clock::time_point retryAt_;
    std::shared_ptr<MQTTConnection> connection_;
};

}  // namespace xel
