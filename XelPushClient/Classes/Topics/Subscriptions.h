#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Classes/Broker/BrokerConnectionState.h"
#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Broker/DeferredWork.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Models/OperationOptions.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"
#include "XelPushClient/Classes/Topics/SubscribeBatches.h"

namespace xel {

class SubscribedTopics;
class SubscriptionAnswers;
class SubscriptionRequests;

/// Turns wanted channels and events into SUBSCRIBE and UNSUBSCRIBE, at once or when connected.
///
/// Owner: the manager. Thread: the manager's run loop. Outcomes go to the delegates; no operation returns
/// one.
class Subscriptions {
public:
    struct Surroundings {
        const ClientLife& life;
        BrokerSession& session;
        const BrokerConnectionState& connectionState;
        DeferredWork& deferred;
        ChannelStore& channels;
        EventFanout& fanout;
        ClientSettings& settings;
        SubscribedTopics& subscribedTopics;
        SubscriptionRequests& requests;
        SubscriptionAnswers& answers;
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

private:
    enum class InstallationUpdate { Wanted, NotWanted };

    struct Request {
        std::shared_ptr<TopicTable> topics;
        SubscribeBatches::Ticket askedAt;
    };

    /// Runs the work on this object once the session is connected, if this object is still there.
    template <class Work>
    void deferUntilConnected(Work work);
    /// Null while there is none to send anything on.
    [[nodiscard]] std::shared_ptr<MQTTSession> connectedSession() const;
    void subscribeWithTopicDictionary(const Request& request, InstallationUpdate update);
    [[nodiscard]] Request newestRequest();
    void deferBatch(Request request);
    /// Asks again, when connected, for what the session neither sent nor refused.
    void deferWhatWaits(const Request& request, const TopicTable& topics,
                        const MQTTSubscribeOutcome& outcome);
    void subscribeEventWithTopic(const std::string& topic, int qos);
    void unsubscribeToTopic(const std::string& topic);
    [[nodiscard]] TopicTable topicsOfThisClient() const;

    Surroundings surroundings_;
    ClientLife::WayInto<Subscriptions> wayIn_;
};

}  // namespace xel
