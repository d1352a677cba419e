#include "bench/common/SampleMessage.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace xel::bench {

namespace {

std::uint64_t scramble(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15ULL;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ULL;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebULL;
    return value ^ (value >> 31);
}

std::string makeUuid(std::uint64_t index) {
    const std::uint64_t high = scramble(index * 2);
    const std::uint64_t low = scramble(index * 2 + 1);
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "%08x-%04x-4%03x-%04x-%012llx", static_cast<unsigned>(high >> 32),
                  static_cast<unsigned>(high >> 16 & 0xffff), static_cast<unsigned>(high & 0xfff),
                  static_cast<unsigned>(low >> 48 & 0x3fff) | 0x8000U,
                  static_cast<unsigned long long>(low & 0xffffffffffffULL));
    return std::string(text.data());
}

constexpr std::array<std::string_view, 4> kStates = {"accepted", "packed", "shipped", "delivered"};

constexpr std::size_t kLargestShortPayload = 400;
constexpr std::size_t kLongText = 1024;
constexpr std::size_t kPieceOfLongText = 256;

/// Three digits: a payload of 30 octets has room for no more.
std::string makeShortId(std::uint64_t index) {
    constexpr std::string_view kDigits = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    constexpr std::uint64_t kBase = kDigits.size();
    if (index >= kBase * kBase * kBase) {
        throw std::invalid_argument("there are no more short ids than " +
                                    std::to_string(kBase * kBase * kBase));
    }
    return {kDigits[index / kBase / kBase], kDigits[index / kBase % kBase], kDigits[index % kBase]};
}

std::string fillerText(std::size_t size) {
    constexpr std::string_view kWords = "Thank you for your order, it is on its way. ";
    std::string text;
    while (text.size() < size) {
        text.append(kWords.substr(0, size - text.size()));
    }
    return text;
}

void writePayload(SampleMessage& message) {
    const std::string order = std::to_string(message.orderId);
    message.payload =
        R"({"id":")" + message.id + R"(","messageBody":")" + message.messageBody + R"(","serverTime":)" +
        std::to_string(message.serverTimeMs) + R"(,"expireTime":4102444800000,"senderId":")" +
        message.senderId + R"(","sentId":"backend-7","data":{"orderId":)" + order + R"(,"state":")" +
        message.state + R"(","url":"https://shop.example/o/)" + order + R"("},"inApp":true,"silent":false})";
}

void addText(Checksum& checksum, std::string_view text) {
    if (text.size() <= kLongText) {
        checksum.add(text);
        return;
    }
    checksum.add(static_cast<std::uint64_t>(text.size()));
    checksum.add(text.substr(0, kPieceOfLongText));
    checksum.add(text.substr(text.size() / 2, kPieceOfLongText));
    checksum.add(text.substr(text.size() - kPieceOfLongText));
}

}  // namespace

void addSeenFields(Checksum& checksum, const SeenFields& fields) {
    checksum.add(fields.id);
    addText(checksum, fields.messageBody);
    checksum.add(fields.senderId);
    checksum.add(static_cast<std::uint64_t>(fields.serverTimeMs));
    checksum.add(fields.state);
    checksum.add(static_cast<std::uint64_t>(fields.orderId));
}

SeenFields SampleMessage::seenFields() const {
    return {id, messageBody, senderId, serverTimeMs, state, orderId};
}

SampleMessage makeSampleMessage(std::uint64_t index) {
    SampleMessage message;
    message.id = makeUuid(index);
    message.orderId = static_cast<std::int64_t>(100000 + index % 900000);
    message.state = kStates[index % kStates.size()];
    message.messageBody = "Your order " + std::to_string(message.orderId) + " is " + message.state;
    message.senderId = "shop-backend";
    message.serverTimeMs = 1760000000000 + static_cast<std::int64_t>(index);
    writePayload(message);
    return message;
}

SampleMessage makeSampleMessageOfSize(std::uint64_t index, std::size_t payloadBytes) {
    SampleMessage message;
    if (payloadBytes <= kLargestShortPayload) {
        message.id = makeShortId(index);
        const std::string head = R"({"id":")" + message.id + R"(","messageBody":")";
        constexpr std::string_view kTail = R"("})";
        if (payloadBytes <= head.size() + kTail.size()) {
            throw std::invalid_argument("no message fits into " + std::to_string(payloadBytes) + " octets");
        }
        message.messageBody = fillerText(payloadBytes - head.size() - kTail.size());
        message.payload = head + message.messageBody + std::string(kTail);
        return message;
    }
    message = makeSampleMessage(index);
    message.messageBody += ". " + fillerText(payloadBytes - message.payload.size() - 2);
    writePayload(message);
    return message;
}

std::string sampleTopic(std::string_view appId, std::string_view userId, std::string_view channel) {
    std::string topic = "app/";
    topic.append(appId).append("/user/").append(userId).append("/").append(channel);
    return topic;
}

}  // namespace xel::bench
