#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

FakeBroker& brokerOf(ScenarioWorld& world) {
    return *world.machine->broker;
}

FakeBrokerPacketType takePacketType(Words& words) {
    const auto name = words.take("a packet");
    for (unsigned type = 1; type <= 14; ++type) {
        if (nameOfPacketType(static_cast<FakeBrokerPacketType>(type)) == name) {
            return static_cast<FakeBrokerPacketType>(type);
        }
    }
    throw ScenarioFailure("no packet is called " + name);
}

/// "publishes <topic> [qos n] [retained] [times n] {payload}": to whoever subscribed. A "%" in the payload is
/// the number of the copy.
void publishes(ScenarioWorld& world, Words& words) {
    FakeBrokerPublication publication;
    publication.topic = words.take("a topic");
    long long times = 1;
    for (;;) {
        if (words.takeIf("qos")) {
            publication.qos = static_cast<int>(words.takeNumber("a quality of service"));
        } else if (words.takeIf("retained")) {
            publication.retain = true;
        } else if (words.takeIf("times")) {
            times = words.takeNumber("how often");
        } else {
            break;
        }
    }
    const auto payload = world.filled(words.take("a payload"));
    for (long long copy = 1; copy <= times; ++copy) {
        publication.payload = payload;
        if (const auto at = payload.find('%'); times > 1 && at != std::string::npos) {
            publication.payload.replace(at, 1, std::to_string(copy));
        }
        brokerOf(world).publish(publication);
    }
}

/// "sends <client> <topic> [qos n] {payload}": to that client, whatever it subscribed to.
void sends(ScenarioWorld& world, Words& words) {
    const auto client = words.take("a client id");
    FakeBrokerPublication publication;
    publication.topic = words.take("a topic");
    if (words.takeIf("qos")) {
        publication.qos = static_cast<int>(words.takeNumber("a quality of service"));
    }
    publication.payload = world.filled(words.take("a payload"));
    if (!brokerOf(world).publishTo(client, publication)) {
        throw ScenarioFailure("the broker has no session of " + client);
    }
}

void sendsOctets(ScenarioWorld& world, Words& words) {
    std::string octets;
    for (const auto& word : words.takeRest()) {
        octets += static_cast<char>(std::stoi(word, nullptr, 16));
    }
    brokerOf(world).sendOctets(octets);
}

// The faults are those of the simulated service; here are the ways in which one kind of them ends.

void listens(ScenarioWorld& world, Words& /*words*/) {
    world.service->heal(FaultKind::BrokerStopsListening);
}

/// "accepts connections", after those that it held.
void accepts(ScenarioWorld& world, Words& words) {
    words.take("connections");
    world.service->heal(FaultKind::BrokerHoldsConnections);
}

/// "refuses with 0": nobody any more.
void refuses(ScenarioWorld& world, Words& words) {
    words.take("with");
    if (words.take("a return code") != "0") {
        throw ScenarioFailure("a broker refuses with 1 to 5, or with 0 nobody");
    }
    world.service->heal(FaultKind::BrokerRefuses);
}

/// "shows its certificate".
void shows(ScenarioWorld& world, Words& words) {
    words.take("its");
    words.take("certificate");
    world.service->heal(FaultKind::BrokerShowsBadCertificate);
}

/// "hears acknowledgements".
void hears(ScenarioWorld& world, Words& words) {
    words.take("acknowledgements");
    world.service->heal(FaultKind::BrokerLosesAcknowledgements);
}

/// "takes <topic>" and "takes everything": again.
void takes(ScenarioWorld& world, Words& words) {
    if (words.takeIf("everything")) {
        world.service->heal(FaultKind::BrokerEndsOnEverything);
    } else {
        brokerOf(world).setEndingOn(words.take("a topic"), false);
    }
}

void releases(ScenarioWorld& world, Words& words) {
    const auto type = takePacketType(words);
    brokerOf(world).releaseWithheld(
        type, words.takeIf("reversed") ? FakeBroker::Order::Reversed : FakeBroker::Order::AsAsked);
}

/// "cuts reads to <n>" octets, on connections from now on.
void cuts(ScenarioWorld& world, Words& words) {
    words.take("reads");
    words.take("to");
    brokerOf(world).setMostOctetsPerRead(static_cast<std::size_t>(words.takeNumber("how many octets")));
}

/// "restarts empty": killed, and started again without persistence.
void restarts(ScenarioWorld& world, Words& words) {
    words.take("empty");
    brokerOf(world).resetConnections();
    brokerOf(world).forgetSessions();
}

}  // namespace

void performBroker(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"publishes", publishes}, {"sends", sends},       {"sends-octets", sendsOctets},
        {"listens", listens},     {"accepts", accepts},   {"refuses", refuses},
        {"shows", shows},         {"hears", hears},       {"takes", takes},
        {"releases", releases},   {"restarts", restarts}, {"cuts", cuts},
    };
    performFrom(verbs, world, words, "an act of the broker's");
}

}  // namespace xel::scenario
