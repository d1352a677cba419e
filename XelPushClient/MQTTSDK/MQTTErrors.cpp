#include "XelPushClient/MQTTSDK/MQTTErrors.h"

#include <string>

#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {

NSError makeMQTTError(MQTTErrorCode code, std::string_view description) {
    return makeError(kMQTTErrorDomain, static_cast<std::int64_t>(code), description);
}

bool isMQTTError(const NSError& error, MQTTErrorCode code) {
    return error.domain == kMQTTErrorDomain && error.code == static_cast<std::int64_t>(code);
}

NSError makeTooLargeError(std::string_view topic, std::size_t size, std::size_t limit) {
    return makeMQTTError(MQTTErrorCode::PublicationTooLarge,
                         "the publication on topic '" + shownName(topic) + "' has " + std::to_string(size) +
                             " octets, more than the " + std::to_string(limit) + " that a packet may have");
}

NSError makeTooManyTopicsError(std::string_view topic) {
    return makeMQTTError(
        MQTTErrorCode::NameNotSendable,
        "the topic '" + shownName(topic) + "' was asked for with more others than one SUBSCRIBE can hold");
}

NSError makeConnackError(std::uint8_t returnCode) {
    switch (returnCode) {
        case 1:
            return makeMQTTError(MQTTErrorCode::UnacceptableProtocolVersion,
                                 "connection refused by the broker: it does not speak MQTT 3.1.1");
        case 2:
            return makeMQTTError(MQTTErrorCode::IdentifierRejected,
                                 "connection refused by the broker: it does not allow the client id");
        case 3:
            return makeMQTTError(MQTTErrorCode::ServerUnavailable,
                                 "connection refused by the broker: its service is unavailable");
        // The code of 5: either way this identity is refused, and the client does not try it again.
        case 4:
            return makeMQTTError(
                MQTTErrorCode::NotAuthorized,
                "connection refused by the broker: not authorized, bad user name or password");
        default:
            return makeMQTTError(MQTTErrorCode::NotAuthorized,
                                 "connection refused by the broker: not authorized");
    }
}

}  // namespace xel
