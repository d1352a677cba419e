#include "tests/simulation/run/Witness.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "tests/simulation/wire/HomeTap.h"
#include "tests/simulation/wire/PacketFacts.h"
#include "tests/simulation/wire/RequestTap.h"
#include "tests/simulation/wire/WireTap.h"

namespace xel::simulation {
namespace {

using scenario::ScenarioClient;

std::string storeOf(const ScenarioClient& client) {
    return client.name.empty() ? "home" : client.name;
}

std::string fieldOf(const scenario::JournalEntry& entry, std::string_view name) {
    for (const auto& [field, value] : entry.fields) {
        if (field == name) {
            return value;
        }
    }
    return {};
}

/// The mark of the publication that a report is about.
std::string markOf(const scenario::JournalEntry& entry) {
    for (const auto* field : {"id", "message", "topic", "body"}) {
        if (auto mark = markIn(fieldOf(entry, field)); !mark.empty()) {
            return mark;
        }
    }
    return markIn(fieldOf(entry, "data"));
}

bool isOfFormerInstallation(const Fact& fact, const ScenarioClient& client) {
    return client.manager && client.manager->brokerClientId().value_or(fact.clientId) != fact.clientId;
}

/// What a client that goes still does counts: it stores something, and asks for topics in what it had
/// gathered to write.
bool outlivesTheClient(const Fact& fact) {
    switch (fact.kind) {
        case FactKind::OutboxAppended:
        case FactKind::OutboxRemoved:
        case FactKind::TopicsRemembered:
        case FactKind::MemoryErased:
        case FactKind::FormerErased:
        case FactKind::IdsStored:
        case FactKind::ConnectionEnded: return true;
        case FactKind::Written: return fact.packet.type == "SUBSCRIBE";
        default: return false;
    }
}

/// What the disk is said to have taken. It takes nothing of a process that is dead, whose calls are only
/// coming to their ends; what they tell of an erasure goes by what the disk holds.
bool claimsAWrite(const Fact& fact) {
    return fact.kind == FactKind::OutboxAppended || fact.kind == FactKind::OutboxRemoved ||
           fact.kind == FactKind::TopicsRemembered || fact.kind == FactKind::IdsStored;
}

std::string clientIdOf(const PushClientManager& manager) {
    return manager.brokerClientId().value_or("");
}

}  // namespace

Witness::Witness(scenario::ScenarioWorld& world) : world_(world) {
    world.setObserver(*this);
}

void Witness::tell(Fact fact) {
    fact.time = world_.machine->runLoop->elapsed();
    fact.now = millisecondsSince1970(world_.machine->clock->now());
    if (auto line = describe(fact); !line.empty()) {
        trace_.push_back(std::move(line));
    }
    for (const auto& invariant : invariants_) {
        invariant->take(fact);
        if (invariant->breach() && !breach_) {
            breaks(invariant->name(), *invariant->breach());
        }
    }
}

void Witness::breaks(std::string_view invariant, std::string how) {
    if (!breach_) {
        trace_.push_back("BREACH " + std::string(invariant) + ": " + how);
        breach_ = Breach{std::string(invariant), std::move(how)};
    }
}

void Witness::stepBegins(const std::string& line) {
    tell({.kind = FactKind::StepBegan, .text = line});
    if (line == "application enters-background" || line == "application resigns-active") {
        wasInBackground_ = true;
        tell({.kind = FactKind::Background});
    } else if (line.starts_with("disk fails") || line.starts_with("disk is full")) {
        wasDiskFailing_ = true;
        tell({.kind = FactKind::DiskFails});
    }
}

void Witness::stepEnds() {
    const auto& machine = *world_.machine;
    const auto timers = machine.runLoop->scheduledTimerCount();
    tell({.kind = FactKind::Measured, .name = "timers", .number = static_cast<std::int64_t>(timers)});
    const auto requests = machine.http->waitingCount();
    tell({.kind = FactKind::Measured, .name = "requests", .number = static_cast<std::int64_t>(requests)});
    // Only now, for a host that is killed on the way leaves the application where it was.
    if (wasInBackground_ && machine.application->applicationState() == UIApplicationState::Active) {
        wasInBackground_ = false;
        tell({.kind = FactKind::Background, .ok = false});
    }
    const auto faults = world_.service->faults();
    const bool isDiskFailing = std::any_of(faults.begin(), faults.end(), [](const Fault& fault) {
        return fault.what == FaultKind::DiskFails || fault.what == FaultKind::DiskIsFull;
    });
    if (wasDiskFailing_ && !isDiskFailing) {
        wasDiskFailing_ = false;
        tell({.kind = FactKind::DiskFails, .ok = false});
    }
    for (const auto& fault : machine.broker->faults()) {
        // A network may have swallowed what the client said: its silence is judged by what it wrote.
        if (fault.find("silence beyond") == std::string::npos) {
            breaks("the broker's protocol is kept", fault);
        }
    }
}

void Witness::rests(bool isLast) {
    for (const auto& [name, client] : world_.clients()) {
        if (client->manager) {
            const auto rest = restOf(*client, isLast);
            tell({.kind = FactKind::Rests, .client = name, .rest = rest});
        }
    }
}

std::shared_ptr<const RestFact> Witness::restOf(const ScenarioClient& client, bool isLast) const {
    RestFact rest;
    rest.isLast = isLast;
    const auto& manager = *client.manager;
    rest.state = manager.connectionStateString();
    const auto clientId = clientIdOf(manager);
    rest.isIdentityComplete = !clientId.empty();
    rest.topicsAtBroker = world_.machine->broker->subscriptionsOf(clientId);
    rest.unacknowledged = world_.machine->broker->unacknowledgedCount(clientId);
    const auto store = world_.machine->disk->contents(storeOf(client));
    if (const auto memory = store.clients.find(clientId); memory != store.clients.end()) {
        rest.rememberedTopics = memory->second.grantedTopics;
        for (const auto& entry : memory->second.outbox) {
            rest.outboxMarks.push_back(markIn(entry.payload + " " + entry.topic));
        }
    }
    if (const Value* subscribed = store.settings.find("subscribedTopics")) {
        rest.subscribedTopics = textsOf(*subscribed);
    }
    return std::make_shared<const RestFact>(std::move(rest));
}

void Witness::tellWhatIsFound(const ScenarioClient& client) {
    const auto store = world_.machine->disk->contents(storeOf(client));
    const Value* const ids = store.settings.find("messageIds");
    const Value* const user = store.settings.find("userId");
    tell({.kind = FactKind::LifeBegan,
          .client = client.name,
          .name = user != nullptr && user->asString() != nullptr ? *user->asString() : "",
          .list = ids == nullptr ? std::vector<std::string>() : textsOf(*ids)});
    for (const auto& [clientId, memory] : store.clients) {
        tell({.kind = FactKind::TopicsHeld,
              .client = client.name,
              .clientId = clientId,
              .topics = memory.grantedTopics});
        for (const auto& entry : memory.outbox) {
            tell({.kind = FactKind::OutboxHeld,
                  .client = client.name,
                  .clientId = clientId,
                  .packet = factOf(entry)});
        }
    }
}

void Witness::clientWillBegin(const ScenarioClient& client, Machine& machine, Home& home) {
    tellWhatIsFound(client);
    // What else still moves of a life that has ended concerns nobody. The world outlives its witness.
    const auto hear = life_.guarded([&client, life = client.life](Witness& self, Fact fact) {
        const auto& fakes = *self.world_.machine;
        const bool isDead = fakes.disk->isProcessDead();
        const bool counts =
            client.isAlive ? !isDead || !claimsAWrite(fact) : !isDead && outlivesTheClient(fact);
        if (client.life != life || !counts) {
            return;
        }
        fact.client = client.name;
        if (fact.kind == FactKind::MemoryErased && isOfFormerInstallation(fact, client)) {
            fact.kind = FactKind::FormerErased;
        }
        if (fact.kind == FactKind::Arrived && fact.packet.type == "PUBLISH") {
            readPayload(fact.packet, *fakes.json);
        }
        self.tell(std::move(fact));
    });
    machine.sessions =
        std::make_shared<MQTTClientSessionFactory>(std::make_shared<WireTap>(world_.machine->network, hear),
                                                   world_.machine->clock, world_.machine->mainRunLoop.get());
    machine.http = std::make_shared<RequestTap>(world_.machine->http, hear);
    tapHome(home, hear);
}

void Witness::clientHasEnded(const ScenarioClient& client) {
    tell({.kind = FactKind::LifeEnded, .client = client.name});
}

Fact Witness::actOf(FactKind kind, const ScenarioClient& client,
                    const std::vector<std::string>& words) const {
    Fact fact{.kind = kind, .client = client.name};
    fact.name = words.empty() ? "" : words.front();
    std::string text;
    for (const auto& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    const bool isPublishing =
        fact.name.starts_with("publish") || fact.name == "markAsRead" || fact.name == "messageDismissed";
    fact.mark = isPublishing ? markIn(text) : "";
    if (kind == FactKind::HostActs) {
        fact.list = words;
        fact.name = words.empty() ? "" : words.front();
    }
    fact.text = text;
    return fact;
}

void Witness::hostWillAct(const ScenarioClient& client, const std::vector<std::string>& words) {
    world_.lastResult.reset();
    tell(actOf(FactKind::HostActs, client, words));
}

void Witness::hostHasActed(const ScenarioClient& client, const std::vector<std::string>& words) {
    if (world_.machine->disk->isProcessDead()) {
        return;  // nobody came back from it
    }
    Fact fact = actOf(FactKind::HostActed, client, words);
    fact.ok = world_.lastResult.value_or(false);
    tell(std::move(fact));
}

void Witness::hostHears(const ScenarioClient& client, std::size_t life, scenario::Channel channel,
                        const scenario::JournalEntry& entry) {
    Fact fact{.kind = FactKind::HostHears, .client = client.name};
    fact.name = entry.name;
    fact.mark = markOf(entry);
    fact.text = entry.describe();
    fact.ok = client.life == life && client.isAlive;
    const bool isState = channel == scenario::Channel::Delegate &&
                         entry.name == "pushClientManagerDidChangedServerConnectionState";
    tell(std::move(fact));
    if (isState) {
        tell({.kind = FactKind::StateTold, .client = client.name, .name = fieldOf(entry, "state")});
    }
}

void Witness::packetReachedBroker(const FakeBrokerRecord& record) {
    tell({.kind = FactKind::ReachedBroker, .clientId = record.clientId, .packet = factOf(record.packet)});
}

}  // namespace xel::simulation
