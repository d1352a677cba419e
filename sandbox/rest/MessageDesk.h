#pragma once

#include <functional>
#include <string>

#include "sandbox/broker/ServiceClient.h"
#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

/// Sends messages and events in the service's name, for a developer who tries out a client.
///
/// A message's fields, all optional: "user" (a user id; "*" or absent: everybody), "channel" (default
/// "default"; a scope "public/" or "private/" in front must fit the user), "body", "data", "notification",
/// "expireTime" (milliseconds since 1970), "silent", "inApp", "useAsAlert", "alertText", "live" (QoS 0
/// instead of 1), "stateful" (retained), "id" (default: a new one; an id given twice makes a duplicate),
/// "senderId" and "sentId" (the user and device in whose name it is sent: that user gets the delivery
/// reports). The answer is {"id": ..., "topic": ..., "message": {...}}.
///
/// An event's fields: "event" (its name), "deviceId", "data" (an object; "id" and "createdAt" are added to it
/// unless there, or unless "bare" is true), "live", "stateful". The answer is {"topic": ..., "data": {...}}.
///
/// The answer comes when the broker has taken the publication; 503 when it does not, 400 for a wrong field,
/// 413 for a message above kLargestPayload.
class MessageDesk {
public:
    /// Publishes one publication, and says later whether the broker took it.
    using Publish = std::function<void(const ServiceClient::Publication&, ServiceClient::PublishHandler)>;

    MessageDesk(std::string appId, Publish publish);

    void sendMessage(const Json& fields, const RestResponder& respond);
    void sendEvent(const Json& fields, const RestResponder& respond);

private:
    void publish(const ServiceClient::Publication& publication, Json answer, const RestResponder& respond);

    std::string appId_;
    Publish publish_;
};

}  // namespace xel::sandbox
