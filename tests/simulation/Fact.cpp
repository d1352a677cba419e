#include "tests/simulation/Fact.h"

#include <algorithm>
#include <map>

namespace xel::simulation {
namespace {

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::size_t endOfDigits(std::string_view text, std::size_t at) {
    while (at < text.size() && isDigit(text[at])) {
        ++at;
    }
    return at;
}

std::string listOf(const std::vector<std::string>& list) {
    std::string text;
    for (const auto& each : list) {
        text += (text.empty() ? "" : " ") + each;
    }
    return text;
}

std::string listOf(const TopicTable& topics) {
    std::string text;
    for (const auto& [topic, qos] : topics) {
        text += " " + topic + "=" + std::to_string(qos);
    }
    return text;
}

std::string describe(const PacketFact& packet) {
    std::string text = packet.type;
    if (packet.packetId != 0) {
        text += " #" + std::to_string(packet.packetId);
    }
    if (!packet.topic.empty()) {
        text += " " + packet.topic + " [" + packet.payload + "]";
    }
    text += packet.dup ? " dup" : "";
    text += packet.retain ? " retained" : "";
    text += listOf(packet.topics);
    for (const auto& name : packet.names) {
        text += " " + name;
    }
    for (const auto code : packet.codes) {
        text += " " + std::to_string(code);
    }
    return text;
}

std::string describe(const RestFact& rest) {
    return " " + rest.state + "; at the broker" + listOf(rest.topicsAtBroker) + "; in the memory" +
           listOf(rest.rememberedTopics) + "; counted on " + listOf(rest.subscribedTopics) + "; to be sent " +
           listOf(rest.outboxMarks);
}

std::string_view nameOf(FactKind kind) {
    static const std::map<FactKind, std::string_view> names{
        {FactKind::StepBegan, "step"},
        {FactKind::LifeBegan, "begins"},
        {FactKind::OutboxHeld, "finds for sending"},
        {FactKind::TopicsHeld, "finds topics"},
        {FactKind::LifeEnded, "has ended"},
        {FactKind::HostActs, "host"},
        {FactKind::HostActed, "host did"},
        {FactKind::HostHears, "hears"},
        {FactKind::StateTold, "state"},
        {FactKind::ConnectionBegan, "connection begins"},
        {FactKind::ConnectionEnded, "connection ends"},
        {FactKind::Arrived, "<-"},
        {FactKind::Written, "->"},
        {FactKind::ReachedBroker, "broker has"},
        {FactKind::Dropped, "drops"},
        {FactKind::OutboxAppended, "outbox takes"},
        {FactKind::OutboxRemoved, "outbox forgets"},
        {FactKind::TopicsRemembered, "topics stored"},
        {FactKind::MemoryErased, "memory erased"},
        {FactKind::FormerErased, "former memory erased"},
        {FactKind::IdsStored, "ids stored"},
        {FactKind::Requested, "request"},
        {FactKind::Answered, "answer"},
        {FactKind::DiskFails, "disk fails"},
        {FactKind::Background, "in the background"},
        {FactKind::Rests, "rests"},
    };
    const auto name = names.find(kind);
    return name == names.end() ? std::string_view() : name->second;
}

}  // namespace

std::string describe(const Fact& fact) {
    const auto name = nameOf(fact.kind);
    if (name.empty()) {
        return {};
    }
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(fact.time);
    std::string line = std::to_string(milliseconds.count()) + " ";
    if (fact.kind != FactKind::StepBegan && fact.kind != FactKind::ReachedBroker) {
        line += (fact.client.empty() ? "first" : fact.client) + " ";
    }
    line += name;
    for (const auto& part : {fact.clientId, fact.name, fact.text, listOf(fact.list), describe(fact.packet)}) {
        line += part.empty() ? "" : " " + part;
    }
    line += listOf(fact.topics);
    if (fact.number != 0) {
        line += " " + std::to_string(fact.number);
    }
    line += fact.rest ? describe(*fact.rest) : "";
    return fact.ok ? line : line + " (no)";
}

std::string markIn(std::string_view text) {
    for (const std::string_view kind : {"in", "out"}) {
        for (auto at = text.find(kind); at != std::string_view::npos; at = text.find(kind, at + 1)) {
            const auto digits = at + kind.size();
            auto end = endOfDigits(text, digits);
            const bool isWord = at > 0 && text[at - 1] >= 'a' && text[at - 1] <= 'z';
            if (end == digits || isWord) {
                continue;
            }
            if (end < text.size() && text[end] == 'x') {
                const auto copy = endOfDigits(text, end + 1);
                end = copy == end + 1 ? end : copy;
            }
            return std::string(text.substr(at, end - at));
        }
    }
    return {};
}

std::string markIn(const PacketFact& publication) {
    auto mark = markIn(publication.payload);
    return mark.empty() ? markIn(publication.topic) : mark;
}

}  // namespace xel::simulation
