// Message, delivery report and event, as publications bring them: a field is what the payload says under its
// name, and absent for everything else; a record that is written as it was read is read as the same record.
//
// Input: a line with the topic, then the payload.

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Models/DeliveryMessage.h"
#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Testing/SimpleJSONSerialization.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"
#include "tests/fuzz/support/SameJSON.h"

namespace {

using namespace xel;
using fuzz::require;

template <class T>
bool isWhatIsThere(const std::optional<T>& field, const T* there) {
    return there == nullptr ? !field.has_value() : field == *there;
}

template <class T, class Read>
bool isWhatIsUnder(const Dictionary& payload, std::string_view key, const std::optional<T>& field,
                   Read read) {
    const Value* value = payload.find(key);
    return isWhatIsThere(field, value == nullptr ? nullptr : read(*value));
}

bool isTextUnder(const Dictionary& payload, std::string_view key, const std::optional<std::string>& field) {
    return isWhatIsUnder(payload, key, field, [](const Value& value) { return value.asString(); });
}

bool isFlagUnder(const Dictionary& payload, std::string_view key, bool flag) {
    const Value* value = payload.find(key);
    return flag == (value != nullptr && value->truth());
}

void checkFields(const PushClientMessage& message, const Dictionary& payload) {
    const std::array<std::pair<std::string_view, const std::optional<std::string>*>, 6> texts{
        {{"id", &message.id},
         {"messageBody", &message.messageBody},
         {"userId", &message.userId},
         {"senderId", &message.senderId},
         {"sentId", &message.sentId},
         {"alertText", &message.alertText}}};
    for (const auto& [key, field] : texts) {
        require(isTextUnder(payload, key, *field), "a text is what stands under its name");
    }
    const auto asDictionary = [](const Value& value) { return value.asDictionary(); };
    require(isWhatIsUnder(payload, "notification", message.notification, asDictionary) &&
                isWhatIsUnder(payload, "data", message.data, asDictionary),
            "a block is what stands under its name");
    require(isFlagUnder(payload, "inApp", message.inApp) && isFlagUnder(payload, "live", message.live) &&
                isFlagUnder(payload, "stateful", message.stateful) &&
                isFlagUnder(payload, "useAsAlert", message.useAsAlert) &&
                isFlagUnder(payload, "silent", message.silent),
            "a flag is what stands under its name");
    for (const auto& instant : {message.serverTime, message.expireTime}) {
        require(!instant || std::isfinite(secondsSince1970(*instant)), "an instant is some time");
    }
}

bool areClose(const std::optional<Date>& left, const std::optional<Date>& right) {
    if (!left || !right) {
        return left.has_value() == right.has_value();
    }
    const double distance = std::fabs(secondsSince1970(*left) - secondsSince1970(*right));
    return distance <= std::fabs(secondsSince1970(*left)) * 1e-12 + 1e-9;
}

void checkMessage(std::string_view payload) {
    SimpleJSONSerialization json;
    const auto document = json.JSONObjectWithData(payload);
    const Dictionary* const fields = document ? document.value().asDictionary() : nullptr;
    const Date now = dateFromSecondsSince1970(1.5e9);
    const auto message = PushClientMessage::fromPayload(payload, json, "news", now);
    require((message != nullptr) == (fields != nullptr), "a message is a JSON object");
    if (message == nullptr) {
        return;
    }
    checkFields(*message, *fields);
    require(message->channel == "news" && message->receivedTime == now, "these the payload does not say");

    const auto again = PushClientMessage::fromPayload(printJSON(message->toDict(), JSONLayout::OneLine), json,
                                                      message->channel, now);
    require(again != nullptr, "a message can be written");
    require(again->id == message->id && again->messageBody == message->messageBody &&
                fuzz::isSame(again->notification, message->notification) &&
                fuzz::isSame(again->data, message->data) && again->userId == message->userId &&
                again->senderId == message->senderId && again->sentId == message->sentId &&
                again->alertText == message->alertText && again->inApp == message->inApp &&
                again->live == message->live && again->stateful == message->stateful &&
                again->useAsAlert == message->useAsAlert && again->silent == message->silent,
            "a message is read as it was written");
    require(
        areClose(again->serverTime, message->serverTime) && areClose(again->expireTime, message->expireTime),
        "an instant is read as it was written");
}

void checkDelivery(std::string_view payload, std::string_view topic) {
    const auto delivery = DeliveryMessage::fromPublication(payload, topic);
    const auto fields = splitString(payload, "-:-");
    const auto segments = splitString(topic, "/");
    require(delivery.has_value() == (isValidUTF8(payload) && fields.size() == 3 && segments.size() >= 5),
            "a report has three fields and a topic of five segments");
    if (!delivery) {
        return;
    }
    require(delivery->messageId == segments[4] && delivery->deliveredUserId == fields[0] &&
                delivery->deliveredDeviceId == fields[1],
            "a report says what its fields say");
    require(std::isfinite(secondsSince1970(delivery->deliveredAt)), "a report is of some time");
    require(isValidUTF8(describeDate(delivery->deliveredAt)), "a time can be told");
}

void checkEvent(std::string_view payload) {
    const auto document = SimpleJSONSerialization().JSONObjectWithData(payload);
    const Dictionary* const data = document ? document.value().asDictionary() : nullptr;
    const EventMessage event("login", "D3V1CE", data != nullptr ? std::optional(*data) : std::nullopt);
    const Value* const id = data != nullptr ? data->find("id") : nullptr;
    const bool hasId = id != nullptr && (id->isString() || id->isInteger() || id->isDouble());
    require(event.id.has_value() == hasId, "an id is a text or a number");
    require(!hasId || !id->isString() || event.id == *id->asString(), "a text is the id as it stands");
    require(!hasId || isValidUTF8(*event.id), "an id can be stored");
    require(event.data.has_value() == (data != nullptr), "an event has the data of an object");
    if (data != nullptr) {
        require(isPrintableAsJSON(*data), "what was read can be written");
        require(isValidUTF8(formatted("%@", *data)), "what was read can be logged");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::string topic = input.line();
    const std::string_view payload = input.rest();
    checkMessage(payload);
    checkDelivery(payload, topic);
    checkEvent(payload);
    return 0;
}
