#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Classes/Broker/BrokerConnectionState.h"
#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Broker/DeferredWork.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"
#include "XelPushClient/Classes/Topics/SubscribeBatches.h"

namespace xel {

/// How a subscription is delivered.
struct SubscribeOptions {
    /// Live: at most once (QoS 0), and not restored; otherwise at least once (QoS 1).
    bool live = false;
};

/// Which installations' events are meant, and how they are delivered.
struct EventSubscribeOptions {
    /// Missing: every installation's.
    std::optional<std::string> installationId = std::nullopt;
    bool live = false;
};

/// Turns wanted channels and events into SUBSCRIBE and UNSUBSCRIBE, and remembers which topics the broker
/// granted.
///
/// Owner: the manager. Thread: the manager's run loop. Outcomes go to the delegates; no operation returns
/// one.
class Subscriptions {
public:
    struct Surroundings {
        BrokerSession& session;
        const BrokerConnectionState& connectionState;
        DeferredWork& deferred;
        ChannelStore& channels;
        EventFanout& fanout;
        ClientSettings& settings;
        NSUserDefaults& defaults;
        const LogOutput& log;
        InstallationUpdateObserver& observer;
    };

    explicit Subscriptions(Surroundings surroundings);

    /// Subscribes to all channels with one SUBSCRIBE, at once or when connected. Stops at the first invalid
    /// channel: the ones before it go out with the next batch or connect.
    void subscribe(const std::vector<std::string>& channels, SubscribeOptions options);
    void subscribeEvent(const std::string& eventName, const EventSubscribeOptions& options);
    void unsubscribe(const std::string& channel);
    void unsubscribeEvent(const std::string& eventName, const std::optional<std::string>& installationId);

    /// After a connect: subscribes to every topic wanted that the broker does not hold already.
    void subscribeAfterConnect();
    /// Removes from the broker what the client itself subscribed to. For an identity that ends.
    void unsubscribeFromEverything();
    /// Forgets the batch in flight.
    void forgetIdentity() { goingToTopics_ = nullptr; }
    /// Removes from the defaults which topics the broker granted. Does not store it.
    void forgetGrantedTopics();
    /// The connection has ended, and with it every answer that has not come.
    void forgetUnansweredBatches() { batches_.forgetUnanswered(); }

    void subAckReceived(std::uint16_t packetId, std::span<const std::uint8_t> grantedQoss);
    void unsubAckReceived(std::uint16_t packetId);
    void removeTopicFromUserDefault(std::string_view topic);
    /// The session has given the topic up. It is not asked for again until the host does, and a topic that
    /// the client itself asks for at each connect not before there is another session.
    void subscriptionFailed(std::string_view topic, const NSError& error);
    void unsubscriptionFailed(std::string_view topic, const NSError& error);

    /// The batch sent or about to be sent; null when there is none.
    [[nodiscard]] const std::shared_ptr<TopicTable>& goingToTopics() const { return goingToTopics_; }
    [[nodiscard]] std::size_t countUnansweredBatches() const { return batches_.countUnanswered(); }
    [[nodiscard]] const std::map<std::uint16_t, std::string>& subscribeMsgIds() const {
        return subscribeMsgIds_;
    }
    [[nodiscard]] const std::map<std::uint16_t, std::string>& unSubscribeMsgIds() const {
        return unSubscribeMsgIds_;
    }

private:
    enum class InstallationUpdate { Wanted, NotWanted };

    struct Request {
        /// Shared with the queued work that will send it: what is added meanwhile goes out with it.
        std::shared_ptr<TopicTable> topics;
        SubscribeBatches::Ticket askedAt;
    };

    /// Runs the work on this object once the session is connected, if this object is still there.
    template <class Work>
    void deferUntilConnected(Work work);
    /// Null while there is none to send anything on.
    [[nodiscard]] std::shared_ptr<MQTTSession> connectedSession() const;
    void subscribeWithTopicDictionary(const Request& request, InstallationUpdate update);
    void deferBatch(Request request);
    /// Asks again, when connected, for what the session neither sent nor refused.
    void deferWhatWaits(const Request& request, const TopicTable& topics,
                        const MQTTSubscribeOutcome& outcome);
    void subscribeEventWithTopic(const std::string& topic, int qos);
    void unsubscribeToTopic(const std::string& topic);
    /// True when the answer was to the SUBSCRIBE of an event.
    bool eventWasAnswered(std::uint16_t packetId);
    [[nodiscard]] SubscribeBatches::Batch takeAnsweredBatch(std::uint16_t packetId);
    void reportGrantedTopic(const std::string& topic);
    void giveUp(std::span<const MQTTRefusedTopic> refused);
    /// Packet identifiers begin anew with each session: an answer must not meet a request of the one before.
    void forgetRequestsOfFormerSession();
    [[nodiscard]] TopicTable topicsOfThisClient() const;
    [[nodiscard]] std::vector<std::string> grantedTopics() const;
    void storeGrantedTopics(const std::vector<std::string>& topics);

    Surroundings surroundings_;
    std::shared_ptr<TopicTable> goingToTopics_;
    SubscribeBatches batches_;
    /// Topics that this session has given up.
    std::set<std::string, std::less<>> givenUp_;
    std::map<std::uint16_t, std::string> subscribeMsgIds_;
    std::map<std::uint16_t, std::string> unSubscribeMsgIds_;
    std::uint64_t requestsGeneration_ = 0;
    /// Deferred work holds it weakly.
    std::shared_ptr<Subscriptions*> life_;
};

}  // namespace xel
