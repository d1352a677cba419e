#include "tests/scenarios/interpreter/Records.h"

#include <utility>
#include <vector>

#include "tests/scenarios/interpreter/RecordingDelegate.h"

namespace xel::scenario {
namespace {

std::string listOf(const TopicTable& topics) {
    std::string text;
    for (const auto& [topic, qos] : topics) {
        text += (text.empty() ? "" : ",") + topic + "=" + std::to_string(qos);
    }
    return text;
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ",") + name;
    }
    return text;
}

}  // namespace

JournalEntry entryOf(const FakeBrokerRecord& record) {
    const auto& packet = record.packet;
    JournalEntry entry{std::string(nameOfPacketType(packet.type)), {{"client", record.clientId}}};
    const auto add = [&](std::string name, std::string value) {
        entry.fields.emplace_back(std::move(name), std::move(value));
    };
    switch (packet.type) {
        case FakeBrokerPacketType::Connect:
            add("user", packet.connect.userName.value_or("(null)"));
            add("password", packet.connect.password.value_or("(null)"));
            add("keep-alive", std::to_string(packet.connect.keepAliveSeconds));
            add("clean", yesOrNo(packet.connect.cleanSession));
            break;
        case FakeBrokerPacketType::Publish:
            add("topic", packet.topic);
            add("payload", packet.payload);
            add("qos", std::to_string(packet.qos));
            add("retain", yesOrNo(packet.retain));
            add("dup", yesOrNo(packet.dup));
            break;
        case FakeBrokerPacketType::Subscribe: add("topics", listOf(packet.topics)); break;
        case FakeBrokerPacketType::Unsubscribe: add("topics", listOf(packet.topicNames)); break;
        default: break;
    }
    return entry;
}

}  // namespace xel::scenario
