#include "tests/simulation/invariants/TopicsKept.h"

#include <algorithm>
#include <utility>

namespace xel::simulation {
namespace {

/// What the session memory keeps beside the topics begins with this, which no filter does.
constexpr std::string_view kNoTopic = "#/";
constexpr std::uint8_t kRefused = 128;

TopicTable topicsIn(const TopicTable& remembered) {
    TopicTable topics;
    for (const auto& [topic, qos] : remembered) {
        if (!topic.starts_with(kNoTopic)) {
            topics.set(topic, qos);
        }
    }
    return topics;
}

std::string inOrder(const TopicTable& topics) {
    std::vector<std::string> sorted;
    for (const auto& [topic, qos] : topics) {
        sorted.push_back(topic + "=" + std::to_string(qos));
    }
    std::sort(sorted.begin(), sorted.end());
    std::string text;
    for (const auto& each : sorted) {
        text += (text.empty() ? "" : ", ") + each;
    }
    return text.empty() ? "none" : text;
}

/// Of a SUBACK (MQTT 3.1.1 section 3.9.3).
bool isNoCode(std::uint8_t code) {
    return code > 2 && code != kRefused;
}

/// Whether a host that names this means that topic: a channel is its end, an event a part of it.
bool isMeant(const std::string& topic, const std::string& word) {
    return topic.ends_with("/" + word) || topic.find("/event/" + word + "/") != std::string::npos;
}

}  // namespace

void TopicsKept::take(const Fact& fact) {
    Client& client = clients_[fact.client];
    switch (fact.kind) {
        case FactKind::DiskFails: isDiskFailing_ = fact.ok; return;
        case FactKind::LifeBegan: client.isStored = client.isStored && !isDiskFailing_; return;
        case FactKind::LifeEnded:
            // Of what was granted in the last instant the client has not heard, perhaps.
            client.unanswered.insert(client.granted.begin(), client.granted.end());
            endConnection(client, fact);
            return;
        case FactKind::ConnectionEnded: endConnection(client, fact); return;
        case FactKind::Written:
            for (const auto& [topic, qos] : fact.packet.topics) {
                client.asked[fact.packet.packetId].push_back(topic);
            }
            return;
        case FactKind::Arrived:
            if (fact.packet.type == "SUBACK") {
                takeSubscribeAnswer(client, fact);
            }
            return;
        case FactKind::IdsStored: client.isStored = client.isStored && fact.ok; return;
        case FactKind::TopicsRemembered:
            client.isStored = client.isStored && fact.ok;
            if (fact.ok) {
                takeRemembered(client, fact);
            }
            return;
        // A kill right after the write leaves nobody to say that it was made.
        case FactKind::TopicsHeld: takeRemembered(client, fact); return;
        case FactKind::HostActs:
            takeUnsubscribe(client, fact);
            takeEndOfIdentity(client, fact);
            return;
        case FactKind::HostHears: takeReport(client, fact); return;
        case FactKind::MemoryErased:
            client.remembered.erase(fact.clientId);
            client.granted.clear();
            client.lost.clear();
            client.givenUp.clear();
            client.wasErased = true;
            client.isStored = client.isStored && fact.ok;
            return;
        case FactKind::FormerErased: client.remembered.erase(fact.clientId); return;
        case FactKind::Rests: judgeRest(client, fact); return;
        default: return;
    }
}

void TopicsKept::endConnection(Client& client, const Fact& end) {
    // A host may have ended it before the client came to the answer that stood behind another packet.
    if (client.newestAt == end.time) {
        client.unanswered.merge(client.newest);
    }
    for (const auto& [packetId, topics] : std::exchange(client.asked, {})) {
        client.unanswered.insert(topics.begin(), topics.end());
    }
}

void TopicsKept::takeSubscribeAnswer(Client& client, const Fact& fact) {
    const PacketFact& answer = fact.packet;
    if (std::exchange(client.newestAt, fact.time) != fact.time) {
        client.newest.clear();
    }
    const auto topics = std::exchange(client.asked[answer.packetId], {});
    if (std::any_of(answer.codes.begin(), answer.codes.end(), isNoCode)) {
        // It ends the connection, and nothing of it is taken.
        client.unanswered.insert(topics.begin(), topics.end());
        return;
    }
    for (std::size_t i = 0; i < std::min(topics.size(), answer.codes.size()); ++i) {
        if (answer.codes[i] < kRefused) {
            client.granted.insert(topics[i]);
            client.newest.insert(topics[i]);
            client.refused.erase(topics[i]);
        } else {
            client.granted.erase(topics[i]);
            client.refused.insert(topics[i]);
            client.lost.erase(topics[i]);
        }
    }
}

// Once and for all: an unsubscription that was asked for without a connection is repeated later, also when
// the topic was subscribed to again meanwhile.
bool TopicsKept::mayLeave(const Client& client, const std::string& topic) {
    return client.refused.contains(topic) || client.givenUp.contains(topic) ||
           std::any_of(client.words.begin(), client.words.end(),
                       [&](const std::string& word) { return isMeant(topic, word); });
}

void TopicsKept::takeUnsubscribe(Client& client, const Fact& act) {
    if ((act.name != "unsubscribe" && act.name != "unsubscribeEvent") || act.list.size() < 2) {
        return;
    }
    client.words.insert(act.list[1]);
    std::erase_if(client.lost, [&](const std::string& topic) { return isMeant(topic, act.list[1]); });
}

// Everything is unsubscribed first. The host's own exception, or a kill, may cut the rest short.
void TopicsKept::takeEndOfIdentity(Client& client, const Fact& act) {
    const bool isOtherUser = act.name == "registerUser" && act.list.size() > 1 && act.list[1] != client.user;
    if ((act.name == "registerUser" || act.name == "registerAgainWithUserId") && act.list.size() > 1) {
        client.user = act.list[1];
    }
    if (!isOtherUser && act.name != "registerAgainWithUserId" && act.name != "reset" &&
        act.name != "unregisterUser") {
        return;
    }
    for (const auto& [clientId, topics] : client.remembered) {
        for (const auto& [topic, qos] : topics) {
            client.givenUp.insert(topic);
        }
    }
}

void TopicsKept::takeRemembered(Client& client, const Fact& fact) {
    const auto topics = topicsIn(fact.topics);
    for (const auto& [topic, qos] : std::exchange(client.remembered[fact.clientId], topics)) {
        if (!topics.contains(topic) && !mayLeave(client, topic)) {
            client.lost.insert(topic);
        }
    }
    for (const auto& [topic, qos] : topics) {
        client.lost.erase(topic);
    }
}

void TopicsKept::takeFailure(Client& client, std::string_view report) {
    const auto isMentioned = [report](const std::string& topic) {
        return report.find(topic) != std::string_view::npos;
    };
    std::erase_if(client.lost, isMentioned);
    if (!isDiskFailing_) {
        return;
    }
    // The disk may let it go later only.
    for (const auto& [clientId, topics] : client.remembered) {
        for (const auto& [topic, qos] : topics) {
            if (isMentioned(topic)) {
                client.givenUp.insert(topic);
            }
        }
    }
}

void TopicsKept::takeReport(Client& client, const Fact& fact) {
    if (fact.name == "pushClientManagerDidFailInSubscribe") {
        takeFailure(client, fact.text);
        return;
    }
    if (fact.name != "pushClientManagerDidSubscribed" || !client.isStored || isDiskFailing_) {
        return;
    }
    const auto at = fact.text.rfind('=');
    const std::string channel = at == std::string::npos ? fact.text : fact.text.substr(at + 1);
    const auto isRemembered = [&](const std::string& topic) {
        return std::any_of(client.remembered.begin(), client.remembered.end(),
                           [&](const auto& memory) { return memory.second.contains(topic); });
    };
    std::vector<std::string> meant;
    for (const auto& topic : client.granted) {
        if (isMeant(topic, channel)) {
            meant.push_back(topic);
        }
    }
    // A name may stand for several topics, and the answer for another one of them is still to be read,
    // perhaps.
    const bool isKept = std::any_of(meant.begin(), meant.end(), [&](const std::string& topic) {
        return isRemembered(topic) || mayLeave(client, topic);
    });
    if (!meant.empty() && !isKept) {
        breaks("the host was told of " + meant.front() + ", and the session memory does not hold it");
    }
}

void TopicsKept::judgeRest(Client& client, const Fact& fact) {
    if (!client.lost.empty()) {
        breaks(*client.lost.begin() + " left the session memory, and nobody wanted that");
    }
    if (!fact.rest->isLast || fact.rest->state != "Connected" || !client.isStored) {
        return;
    }
    const auto topics = topicsIn(fact.rest->rememberedTopics);
    const auto atBroker = inOrder(fact.rest->topicsAtBroker);
    const auto isGranted = [&](const auto& topic) { return fact.rest->topicsAtBroker.contains(topic.first); };
    // The broker may hold more: what a former identity of that name was granted, which nobody remembers, what
    // it granted on a connection that ended before its answer came, and what it refused to grant again.
    const auto isAccountedFor = [&](const auto& topic) {
        return topics.contains(topic.first) || client.wasErased || client.unanswered.contains(topic.first) ||
               client.refused.contains(topic.first);
    };
    const auto& held = fact.rest->topicsAtBroker;
    if (!std::all_of(topics.begin(), topics.end(), isGranted) ||
        !std::all_of(held.begin(), held.end(), isAccountedFor)) {
        breaks("the session memory holds " + inOrder(topics) + ", and the broker " + atBroker);
    }
    // What was refused when it was asked for again stays in the list.
    for (const auto& topic : fact.rest->subscribedTopics) {
        if (!held.contains(topic) && !client.refused.contains(topic)) {
            breaks("the client counts on " + topic + ", and the broker has " + atBroker);
        }
    }
}

}  // namespace xel::simulation
