#include "XelPushClient/Classes/Models/PushClientMessage.h"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "XelPushClient/Foundation/DecimalText.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {
namespace {

using TextMember = std::optional<std::string> PushClientMessage::*;
using Block = std::optional<Dictionary> PushClientMessage::*;
using Instant = std::optional<Date> PushClientMessage::*;
using Flag = bool PushClientMessage::*;

template <class Member>
struct Field {
    std::string_view key;
    Member member;
};

// `channel` and `receivedTime` are not read from a payload: the topic and the device's clock say them.
constexpr std::array<Field<TextMember>, 6> kTexts = {{{"id", &PushClientMessage::id},
                                                      {"messageBody", &PushClientMessage::messageBody},
                                                      {"userId", &PushClientMessage::userId},
                                                      {"senderId", &PushClientMessage::senderId},
                                                      {"sentId", &PushClientMessage::sentId},
                                                      {"alertText", &PushClientMessage::alertText}}};
constexpr std::array<Field<Block>, 2> kBlocks = {
    {{"notification", &PushClientMessage::notification}, {"data", &PushClientMessage::data}}};
constexpr std::array<Field<Instant>, 2> kInstants = {
    {{"serverTime", &PushClientMessage::serverTime}, {"expireTime", &PushClientMessage::expireTime}}};
constexpr std::array<Field<Flag>, 5> kFlags = {{{"inApp", &PushClientMessage::inApp},
                                                {"live", &PushClientMessage::live},
                                                {"stateful", &PushClientMessage::stateful},
                                                {"useAsAlert", &PushClientMessage::useAsAlert},
                                                {"silent", &PushClientMessage::silent}}};

template <class Member, std::size_t Count>
const Member* memberNamed(const std::array<Field<Member>, Count>& fields, std::string_view key) {
    for (const auto& field : fields) {
        if (field.key == key) {
            return &field.member;
        }
    }
    return nullptr;
}

std::optional<Date> instantFrom(const JSONEntryValue& value) {
    if (const auto number = value.number()) {
        return dateFromMillisecondsSince1970(*number);
    }
    if (const auto text = value.text()) {
        const auto [milliseconds, length] = readLeadingDecimal(*text);
        if (length > 0 && length == text->size() && std::isfinite(milliseconds)) {
            return dateFromMillisecondsSince1970(milliseconds);
        }
    }
    return std::nullopt;
}

std::optional<Dictionary> blockFrom(JSONEntryValue& value) {
    Value taken = value.take();
    Dictionary* const members = taken.asDictionary();
    return members != nullptr ? std::optional(std::move(*members)) : std::nullopt;
}

/// Reads a payload's entries straight into the record.
class FieldReader final : public JSONEntryReader {
public:
    explicit FieldReader(PushClientMessage& message) : message_(message) {}

    // A value of another kind reads as absent, also when the key came before.
    void readEntry(std::string_view key, JSONEntryValue& value) override {
        if (const auto* text = memberNamed(kTexts, key)) {
            message_.** text = value.text();
        } else if (const auto* block = memberNamed(kBlocks, key)) {
            message_.** block = blockFrom(value);
        } else if (const auto* instant = memberNamed(kInstants, key)) {
            message_.** instant = instantFrom(value);
        } else if (const auto* flag = memberNamed(kFlags, key)) {
            message_.** flag = value.truth();
        }
    }

private:
    PushClientMessage& message_;
};

template <class T>
void setIfPresent(Dictionary& dictionary, std::string_view key, const std::optional<T>& field) {
    if (field) {
        dictionary.set(key, *field);
    }
}

void setIfPresent(Dictionary& dictionary, std::string_view key, const std::optional<Date>& instant) {
    if (!instant) {
        return;
    }
    const double milliseconds = millisecondsSince1970(*instant);
    const std::int64_t whole = wholeMillisecondsSince1970(*instant);
    const bool isWhole = static_cast<double>(whole) == milliseconds;
    dictionary.set(key, isWhole ? Value(whole) : Value(milliseconds));
}

void setIfSet(Dictionary& dictionary, std::string_view key, bool flag) {
    if (flag) {
        dictionary.set(key, true);
    }
}

}  // namespace

std::shared_ptr<PushClientMessage> PushClientMessage::fromPayload(std::string_view payload,
                                                                  NSJSONSerialization& json,
                                                                  std::optional<std::string> channel,
                                                                  Date receivedTime) {
    auto message = std::make_shared<PushClientMessage>();
    FieldReader reader(*message);
    if (!json.readObjectWithData(payload, reader)) {
        return nullptr;
    }
    message->channel = std::move(channel);
    message->receivedTime = receivedTime;
    return message;
}

PushClientMessage PushClientMessage::withMessage(std::string text, std::optional<std::string> toUserId,
                                                 std::optional<std::string> channel) {
    PushClientMessage message;
    message.messageBody = std::move(text);
    message.userId = std::move(toUserId);
    message.channel = std::move(channel);
    return message;
}

Dictionary PushClientMessage::toDict() const {
    constexpr std::size_t kUsualCount = 8;
    Dictionary dictionary;
    dictionary.reserve(kUsualCount);
    setIfPresent(dictionary, "id", id);
    setIfPresent(dictionary, "messageBody", messageBody);
    setIfPresent(dictionary, "notification", notification);
    setIfPresent(dictionary, "data", data);
    setIfPresent(dictionary, "channel", channel);
    setIfPresent(dictionary, "userId", userId);
    setIfPresent(dictionary, "serverTime", serverTime);
    setIfPresent(dictionary, "expireTime", expireTime);
    setIfPresent(dictionary, "receivedTime", receivedTime);
    setIfPresent(dictionary, "senderId", senderId);
    setIfPresent(dictionary, "sentId", sentId);
    setIfSet(dictionary, "inApp", inApp);
    setIfSet(dictionary, "live", live);
    setIfSet(dictionary, "stateful", stateful);
    setIfSet(dictionary, "useAsAlert", useAsAlert);
    setIfSet(dictionary, "silent", silent);
    setIfPresent(dictionary, "alertText", alertText);
    return dictionary;
}

}  // namespace xel
