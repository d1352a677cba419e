// What the store may hold, damaged or from another version: the settings, the outbox and the granted
// topics. The client starts on it, connects, and sends the broker nothing that breaks the protocol.
//
// Input: a JSON document {"settings": {…}, "outbox": [{"topic", "payload", "packetId", "retain"}],
// "granted": {topic: quality of service}}; see FuzzValues.h for octets and instants.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Classes/GeoLocation/MonitoredRegions.h"
#include "XelPushClient/Foundation/DictionaryReading.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "tests/fuzz/support/FuzzClient.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/FuzzValues.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::FuzzClient;
using fuzz::require;

constexpr std::size_t kMostRemembered = 25;

void fillMemory(FakeDisk::ClientMemory& memory, const Dictionary& stored) {
    std::set<std::uint16_t> used;  // which the store itself sees to
    for (const auto& item : arrayUnder(stored, "outbox").value_or(Array())) {
        const Dictionary entry = item.asDictionary() != nullptr ? *item.asDictionary() : Dictionary();
        const auto packetId = static_cast<std::uint16_t>(integerUnder(entry, "packetId").value_or(1));
        if (packetId != 0 && used.insert(packetId).second) {
            memory.outbox.push_back({packetId, textUnder(entry, "topic").value_or(""),
                                     textUnder(entry, "payload").value_or(""),
                                     valueUnder(entry, "retain").truth()});
        }
    }
    for (const auto& [topic, qos] : dictionaryUnder(stored, "granted").value_or(Dictionary())) {
        const auto level = qos.integer().value_or(1);
        memory.grantedTopics.set(topic, level >= 0 && level <= 2 ? static_cast<int>(level) : 1);
    }
}

void check(FuzzClient& client) {
    require(client.machine.broker->faults().empty(), "nothing leaves that breaks the protocol");
    require(client.manager->instanceCoreGeoLocation().monitoredRegions().size() <= MonitoredRegions::kMost,
            "regions are bounded");
    (void)client.manager->deviceSubscriptions();
    const auto store = client.machine.disk->contents("home");
    const auto ids = arrayUnder(store.settings, "messageIds").value_or(Array());
    require(client.host->messages == 0 || ids.size() <= kMostRemembered,
            "so many ids are remembered at most");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    if (fuzz::holdsSecret(input)) {
        return 0;
    }
    const Dictionary stored = fuzz::dictionaryOfText(input);
    FuzzClient client;
    (void)client.machine.disk->commit("home", [&](FakeDisk::Store& store) {
        store.settings = dictionaryUnder(stored, "settings").value_or(Dictionary());
        fillMemory(store.clients[std::string(fuzz::kBrokerClientId)], stored);
    });
    client.launch();
    check(client);
    client.machine.http->answerAlways("PUT", "*", 200, R"({"id":"D3V1CE"})");
    client.connect();
    client.machine.broker->publishTo(
        fuzz::kBrokerClientId, {.topic = "app/shop/user/alice01/default",
                                .payload = R"({"id":"m1","messageBody":"hello","notification":{"badge":1}})",
                                .qos = 1});
    client.machine.runUntilIdle();
    (void)client.manager->notificationSettingsFor("news");
    (void)client.manager->getLaunchCount();
    client.manager->checkLocationOnLaunch();
    client.manager->startLocationIfTrackingMe();
    client.machine.advanceBy(std::chrono::minutes(10));
    check(client);
    client.requireNoSecretInLog();
    return 0;
}
