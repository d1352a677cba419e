#include "bench/common/SampleMessage.h"

#include <array>
#include <cstdio>

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

}  // namespace

void addSeenFields(Checksum& checksum, const SeenFields& fields) {
    checksum.add(fields.id);
    checksum.add(fields.messageBody);
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
    const std::string order = std::to_string(message.orderId);
    message.messageBody = "Your order " + order + " is " + message.state;
    message.senderId = "shop-backend";
    message.serverTimeMs = 1760000000000 + static_cast<std::int64_t>(index);
    message.payload =
        R"({"id":")" + message.id + R"(","messageBody":")" + message.messageBody + R"(","serverTime":)" +
        std::to_string(message.serverTimeMs) + R"(,"expireTime":4102444800000,"senderId":")" +
        message.senderId + R"(","sentId":"backend-7","data":{"orderId":)" + order + R"(,"state":")" +
        message.state + R"(","url":"https://shop.example/o/)" + order + R"("},"inApp":true,"silent":false})";
    return message;
}

std::uint64_t expectedChecksum(std::uint64_t count) {
    Checksum checksum;
    for (std::uint64_t index = 0; index < count; ++index) {
        addSeenFields(checksum, makeSampleMessage(index).seenFields());
    }
    return checksum.value();
}

std::string sampleTopic(std::string_view appId, std::string_view userId, std::string_view channel) {
    std::string topic = "app/";
    topic.append(appId).append("/user/").append(userId).append("/").append(channel);
    return topic;
}

}  // namespace xel::bench
