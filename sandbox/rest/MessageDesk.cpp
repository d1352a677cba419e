#include "sandbox/rest/MessageDesk.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/RandomText.h"
#include "sandbox/relay/Topics.h"
#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {
namespace {

// A field that is missing or wrong; the text goes into the answer.
class FieldError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

void requireKnownFields(const Json& fields, std::initializer_list<std::string_view> known) {
    for (const auto& [key, value] : fields.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            throw FieldError("there is no field '" + key + "'");
        }
    }
}

std::string readText(const Json& fields, const char* key, const std::string& otherwise) {
    const auto found = fields.find(key);
    if (found == fields.end() || found->is_null()) {
        return otherwise;
    }
    if (!found->is_string()) {
        throw FieldError(std::string("'") + key + "' must be a string");
    }
    return found->get<std::string>();
}

bool readFlag(const Json& fields, const char* key) {
    const auto found = fields.find(key);
    if (found == fields.end() || found->is_null()) {
        return false;
    }
    if (!found->is_boolean()) {
        throw FieldError(std::string("'") + key + "' must be true or false");
    }
    return found->get<bool>();
}

std::string readSegment(const Json& fields, const char* key, const std::string& otherwise) {
    std::string text = readText(fields, key, otherwise);
    if (!isTopicSegment(text)) {
        throw FieldError(std::string("'") + key + "' must be given, without '/', '+' or '#'");
    }
    return text;
}

std::string readUser(const Json& fields) {
    const std::string user = readText(fields, "user", "*");
    return user == "*" ? std::string(kPublicUser) : readSegment(fields, "user", "");
}

std::string readChannel(const Json& fields, bool isPublic) {
    std::string channel = readText(fields, "channel", "default");
    const std::string_view scope = isPublic ? "public/" : "private/";
    if (channel.starts_with(scope)) {
        channel.erase(0, scope.size());
    }
    if (!isTopicSegment(channel)) {
        throw FieldError("'channel' must be a name without '/', '+' or '#', or such a name behind '" +
                         std::string(scope) + "'");
    }
    return channel;
}

// The sender's part of the message, by the keys of the message record.
Json readContent(const Json& fields) {
    struct Field {
        const char* name;
        const char* key;
        bool (*hasRightType)(const Json&);
        const char* rightType;
    };
    static constexpr auto isText = [](const Json& value) { return value.is_string(); };
    static constexpr auto isObject = [](const Json& value) { return value.is_object(); };
    static constexpr auto isInstant = [](const Json& value) {
        return value.is_number() || value.is_string();
    };
    static constexpr auto isFlag = [](const Json& value) { return value.is_boolean(); };
    static constexpr std::array<Field, 8> kFields{{{"body", "messageBody", isText, "a string"},
                                                   {"notification", "notification", isObject, "an object"},
                                                   {"data", "data", isObject, "an object"},
                                                   {"expireTime", "expireTime", isInstant, "milliseconds"},
                                                   {"inApp", "inApp", isFlag, "true or false"},
                                                   {"useAsAlert", "useAsAlert", isFlag, "true or false"},
                                                   {"silent", "silent", isFlag, "true or false"},
                                                   {"alertText", "alertText", isText, "a string"}}};
    Json content = Json::object();
    for (const Field& field : kFields) {
        const auto found = fields.find(field.name);
        if (found == fields.end() || found->is_null()) {
            continue;
        }
        if (!field.hasRightType(*found)) {
            throw FieldError(std::string("'") + field.name + "' must be " + field.rightType);
        }
        content[field.key] = *found;
    }
    return content;
}

// Runs `work` and answers a wrong field with 400.
template <typename Work>
void answerFieldErrors(const RestResponder& respond, Work work) {
    try {
        work();
    } catch (const FieldError& error) {
        respond(makeErrorResponse(400, error.what()));
    }
}

}  // namespace

MessageDesk::MessageDesk(std::string appId, Publish publish)
    : appId_(std::move(appId)), publish_(std::move(publish)) {}

void MessageDesk::sendMessage(const Json& fields, const RestResponder& respond) {
    answerFieldErrors(respond, [&] {
        requireKnownFields(
            fields, {"user", "channel", "body", "data", "notification", "expireTime", "silent", "inApp",
                     "useAsAlert", "alertText", "live", "stateful", "id", "senderId", "sentId"});
        MessageEnvelope envelope;
        envelope.user = readUser(fields);
        envelope.channel = readChannel(fields, envelope.user == kPublicUser);
        envelope.id = readText(fields, "id", "");
        if (envelope.id.empty()) {
            envelope.id = makeUuid();
        }
        envelope.serverTime = millisecondsSince1970();
        envelope.senderId = readText(fields, "senderId", "");
        envelope.sentId = readText(fields, "sentId", "");
        envelope.live = readFlag(fields, "live");
        envelope.stateful = readFlag(fields, "stateful");
        const Json message = composeMessage(envelope, readContent(fields));
        const std::string topic = userTopic(appId_, envelope.user, envelope.channel);
        publish({topic, printJson(message), envelope.live, envelope.stateful},
                Json{{"id", envelope.id}, {"topic", topic}, {"message", message}}, respond);
    });
}

void MessageDesk::sendEvent(const Json& fields, const RestResponder& respond) {
    answerFieldErrors(respond, [&] {
        requireKnownFields(fields, {"event", "deviceId", "data", "live", "stateful", "bare"});
        const std::string name = readSegment(fields, "event", "");
        const std::string device = readSegment(fields, "deviceId", "");
        Json data = fields.value("data", Json::object());
        if (!data.is_object()) {
            throw FieldError("'data' must be an object");
        }
        if (!readFlag(fields, "bare")) {
            // As a client that publishes an event does.
            if (!data.contains("createdAt")) {
                data["createdAt"] = millisecondsSince1970();
            }
            if (!data.contains("id")) {
                data["id"] = makeUuid();
            }
        }
        const std::string topic = eventTopic(appId_, name, device);
        publish({topic, printJson(data), readFlag(fields, "live"), readFlag(fields, "stateful")},
                Json{{"topic", topic}, {"data", data}}, respond);
    });
}

void MessageDesk::publish(const ServiceClient::Publication& publication, Json answer,
                          const RestResponder& respond) {
    // The broker would drop it, and acknowledge it all the same.
    if (publication.payload.size() > kLargestPayload) {
        respond(makeErrorResponse(
            413, "the message is larger than " + std::to_string(kLargestPayload) + " bytes"));
        return;
    }
    publish_(publication, [answer = std::move(answer), respond](bool taken) {
        respond(taken ? RestResponse{200, answer} : makeErrorResponse(503, "the broker did not take it"));
    });
}

}  // namespace xel::sandbox
