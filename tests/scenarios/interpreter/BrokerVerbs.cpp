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

/// "refuses with <code>": connections are answered with that CONNACK return code; 0 accepts again.
void refuses(ScenarioWorld& world, Words& words) {
    words.take("with");
    brokerOf(world).setConnectReturnCode(static_cast<std::uint8_t>(words.takeNumber("a return code")));
}

void listens(ScenarioWorld& world, Words& words) {
    static_cast<void>(words);
    brokerOf(world).setListening(true);
}

/// "stops listening".
void stops(ScenarioWorld& world, Words& words) {
    words.take("listening");
    brokerOf(world).setListening(false);
}

/// "holds connections" and "accepts connections".
void holds(ScenarioWorld& world, Words& words) {
    words.take("connections");
    brokerOf(world).setHoldingConnections(true);
}

void accepts(ScenarioWorld& world, Words& words) {
    words.take("connections");
    brokerOf(world).acceptWaitingConnections();
}

void withholds(ScenarioWorld& world, Words& words) {
    brokerOf(world).setWithholding(takePacketType(words), true);
}

void releases(ScenarioWorld& world, Words& words) {
    const auto type = takePacketType(words);
    brokerOf(world).releaseWithheld(
        type, words.takeIf("reversed") ? FakeBroker::Order::Reversed : FakeBroker::Order::AsAsked);
}

/// "grants <topic> <code>": 0, 1 or 128.
void grants(ScenarioWorld& world, Words& words) {
    auto topic = words.take("a topic");
    brokerOf(world).setGrantedCode(std::move(topic), static_cast<std::uint8_t>(words.takeNumber("a code")));
}

/// "loses connections", as a network does; "loses acknowledgements", until it "hears acknowledgements".
void loses(ScenarioWorld& world, Words& words) {
    if (words.takeIf("acknowledgements")) {
        brokerOf(world).setLosingAcknowledgements(true);
        return;
    }
    words.take("connections");
    brokerOf(world).dropConnections();
}

void hears(ScenarioWorld& world, Words& words) {
    words.take("acknowledgements");
    brokerOf(world).setLosingAcknowledgements(false);
}

/// "keeps <n> in flight".
void keeps(ScenarioWorld& world, Words& words) {
    brokerOf(world).setMostInFlight(static_cast<std::size_t>(words.takeNumber("how many")));
    words.take("in");
    words.take("flight");
}

/// "ends connections", in order; "ends on <topic>" and "ends on everything": whenever that is published, or
/// the topic subscribed to.
void ends(ScenarioWorld& world, Words& words) {
    if (!words.takeIf("on")) {
        words.take("connections");
        brokerOf(world).endConnections();
    } else if (words.takeIf("everything")) {
        brokerOf(world).setEndingOnEveryPublication(true);
    } else {
        brokerOf(world).setEndingOn(words.take("a topic"), true);
    }
}

/// "takes <topic>" and "takes everything": again.
void takes(ScenarioWorld& world, Words& words) {
    if (words.takeIf("everything")) {
        brokerOf(world).setEndingOnEveryPublication(false);
    } else {
        brokerOf(world).setEndingOn(words.take("a topic"), false);
    }
}

/// "resets connections", as one that is killed.
void resets(ScenarioWorld& world, Words& words) {
    words.take("connections");
    brokerOf(world).resetConnections();
}

/// "cuts reads to <n>" octets, on connections from now on.
void cuts(ScenarioWorld& world, Words& words) {
    words.take("reads");
    words.take("to");
    brokerOf(world).setMostOctetsPerRead(static_cast<std::size_t>(words.takeNumber("how many octets")));
}

/// "forgets sessions", as one restarted without persistence.
void forgets(ScenarioWorld& world, Words& words) {
    words.take("sessions");
    brokerOf(world).forgetSessions();
}

/// "shows a certificate that fails": TLS fails with that reason; "shows its certificate" again.
void shows(ScenarioWorld& world, Words& words) {
    if (words.takeIf("its")) {
        words.take("certificate");
        brokerOf(world).setConnectFailure(std::nullopt);
    } else {
        brokerOf(world).setConnectFailure(
            {{ByteStreamErrorCode::CertificateRefused, words.take("a reason")}});
    }
}

}  // namespace

void performBroker(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"publishes", publishes}, {"sends", sends},     {"sends-octets", sendsOctets},
        {"refuses", refuses},     {"listens", listens}, {"stops", stops},
        {"holds", holds},         {"accepts", accepts}, {"withholds", withholds},
        {"releases", releases},   {"grants", grants},   {"loses", loses},
        {"ends", ends},           {"forgets", forgets}, {"shows", shows},
        {"takes", takes},         {"resets", resets},   {"cuts", cuts},
        {"hears", hears},         {"keeps", keeps},
    };
    performFrom(verbs, world, words, "an act of the broker's");
}

}  // namespace xel::scenario
