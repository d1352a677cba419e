// The rules of the local service's broker: who may read and publish what, and the messages, events and
// receipts that are made of publications. Nobody reads another user's messages, nobody forges what the
// service says of a message, and the client reads what the relay writes.
//
// Input: lines with a client id, a topic, a filter and a channel; then a payload.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/EventRecord.h"
#include "sandbox/relay/Json.h"
#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/Topics.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;
using sandbox::ClientIdentity;

void checkRights(const ClientIdentity& client, const std::string& topic, const std::string& filter) {
    const auto segments = splitString(topic, "/");
    const bool isOfUsers = segments.size() >= 5 && segments[0] == "app" && segments[2] == "user";
    const bool isMine =
        isOfUsers && segments[1] == client.app && (segments[3] == client.user || segments[3] == "public");
    if (isValidTopicName(topic)) {
        require(!isOfUsers || sandbox::mayRead(client, topic) == isMine,
                "a user reads the user's own messages");
        const bool isCovered = isValidTopicFilter(filter) && sandbox::mayRead(client, filter) &&
                               topicMatchesFilter(topic, filter);
        require(!isOfUsers || !isCovered || isMine, "no filter covers another user's messages");
        require(!sandbox::mayPublish(client, topic) || !isOfUsers, "nobody but the service sends messages");
    }
    if (const auto event = sandbox::parseEventTopic(client.app, topic)) {
        require(sandbox::mayPublish(client, topic) ==
                    (event->device == client.device || sandbox::isReceiptName(event->name)),
                "an event is the device's own");
        require(sandbox::eventTopic(client.app, event->name, event->device) == topic,
                "an event has one topic");
    }
    if (const auto request = sandbox::parsePublishTopic(client.app, topic)) {
        const TopicIdentity identity{client.app, client.user, client.device};
        require(publishTopic(identity, request->user, request->channel) == topic,
                "client and service agree on it");
        require(!sandbox::userTopic(client.app, request->user, request->channel).empty(),
                "it has a receiver");
    }
    if (const auto waiting = sandbox::parseWaitingTopic(topic)) {
        require(sandbox::waitingTopic(waiting->user, waiting->device) == topic,
                "a device has one such topic");
        require(!sandbox::mayRead(client, topic) && !sandbox::mayPublish(client, topic),
                "what the service says to itself no client reads or says");
    }
}

void checkMessage(const ClientIdentity& client, const std::string& channel, const sandbox::Json& content) {
    for (const std::string& user : {client.user, std::string(sandbox::kPublicUser)}) {
        const sandbox::MessageEnvelope envelope{"m1",        user,          channel, 1'500'000'000'000,
                                                client.user, client.device, true,    false};
        const std::string payload = sandbox::printJson(composeMessage(envelope, content));
        SimpleJSONSerialization json;
        const auto message = PushClientMessage::fromPayload(payload, json, channel, Date());
        require(message != nullptr, "a client reads what the relay writes");
        require(message->id == "m1" && message->senderId == client.user && message->sentId == client.device &&
                    message->live && !message->stateful && message->serverTime,
                "what the service says of a message nobody forges");
        require(message->userId == (user == sandbox::kPublicUser ? "*" : user),
                "a message names its receiver");
        const auto origin = sandbox::readMessageOrigin(payload);
        require(origin && origin->id == "m1" && origin->senderId == client.user, "a message has its origin");
    }
}

void checkEvents(const ClientIdentity& client, const std::string& topic, std::string_view payload) {
    const sandbox::Publisher publisher{client.user, client.device};
    const auto event = sandbox::readEvent(client.app, topic, payload, publisher);
    const auto receipt = sandbox::readReceipt(client.app, topic, payload, publisher);
    require(!event || !receipt, "an event is no receipt");
    require((event || receipt) == sandbox::parseEventTopic(client.app, topic).has_value(),
            "it is one of both");
    if (!event) {
        return;
    }
    require(event->payload == payload && event->user == client.user, "an event is kept as it is");
    const auto document = SimpleJSONSerialization().JSONObjectWithData(payload);
    const Dictionary* const data = document ? document.value().asDictionary() : nullptr;
    const EventMessage read(event->name, event->device,
                            data != nullptr ? std::optional(*data) : std::nullopt);
    require(read.id.has_value() == event->id.has_value(), "client and service find an id, or neither does");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const auto client = sandbox::parseClientId(input.line());
    const std::string topic = input.line();
    const std::string filter = input.line();
    const std::string channel = input.line();
    const std::string_view payload = input.rest();
    (void)sandbox::readMessageOrigin(payload);
    if (!client || !isValidUTF8(client->user + client->device + client->app) || !isValidUTF8(channel)) {
        return 0;  // which the broker itself refuses
    }
    checkRights(*client, topic, filter);
    checkEvents(*client, topic, payload);
    if (const auto content = sandbox::parseJsonObject(payload); content && sandbox::isTopicSegment(channel)) {
        checkMessage(*client, channel, *content);
    }
    return 0;
}
