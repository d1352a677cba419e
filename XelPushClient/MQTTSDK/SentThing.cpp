#include "XelPushClient/MQTTSDK/SentThing.h"

#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {

namespace {

UntoldOutcome::Kind failureOf(SentThing::Kind kind) {
    switch (kind) {
        case SentThing::Kind::Publication: return UntoldOutcome::Kind::PublicationFailed;
        case SentThing::Kind::Subscription: return UntoldOutcome::Kind::SubscriptionFailed;
        case SentThing::Kind::Unsubscription: return UntoldOutcome::Kind::UnsubscriptionFailed;
    }
    return UntoldOutcome::Kind::PublicationFailed;
}

std::string_view nameOf(SentThing::Kind kind) {
    switch (kind) {
        case SentThing::Kind::Publication: return "the publication on topic '";
        case SentThing::Kind::Subscription: return "the subscription to topic '";
        case SentThing::Kind::Unsubscription: return "unsubscribing from topic '";
    }
    return "'";
}

}  // namespace

UntoldOutcome makeGivenUpOutcome(SentThing::Kind kind, std::string_view topic, std::string_view data) {
    const std::string description =
        std::string(nameOf(kind)) + shownName(topic) +
        "' was given up: the broker ended the connection on it each time it was sent, and took others";
    return {failureOf(kind), std::string(topic), std::string(data),
            makeMQTTError(MQTTErrorCode::GivenUp, description)};
}

}  // namespace xel
