// Kills a host with SIGKILL about twice a second while messages flow to it, or events from it, and looks
// whether one is lost.
//
//   kill_driver <kill_host program> <seconds> <state folder> [--fewest <number>] [way ...]
//
// The time is shared by the ways: the three in which a host may hear of messages (delegate, block,
// notification), and publish, a host that publishes events; all four unless some are named. By the way broker
// it is the broker that is killed, about every five seconds. The broker is a real one with its own default of
// 20 messages in flight; the messages go through the local push service. --fewest: so many messages to the
// host, and so many events from it, are the least that a run must have had.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <mosquitto.h>

#include "sandbox/SandboxService.h"
#include "tests/kill/BrokerKills.h"
#include "tests/kill/HostProcess.h"
#include "tests/kill/KillLoop.h"
#include "tests/kill/KillVerdict.h"
#include "tests/kill/MessageStream.h"
#include "tests/kill/PublishingRun.h"
#include "tests/kill/WayOutcome.h"

namespace {

using Clock = std::chrono::steady_clock;
using xel::killtest::HostProcess;
using xel::killtest::killRepeatedly;
using xel::killtest::kPatienceForTheRest;
using xel::killtest::linesOf;
using xel::killtest::MessageStream;
using xel::killtest::waitFor;
using xel::killtest::WayOutcome;

/// The most publications of one turn of the client.
constexpr std::size_t kTurnSize = 24;

bool hasAll(const std::filesystem::path& notes, const std::vector<std::string>& sent) {
    const auto lines = linesOf(notes);
    const std::set<std::string> noted(lines.begin(), lines.end());
    return std::all_of(sent.begin(), sent.end(),
                       [&](const auto& message) { return noted.contains(message); });
}

/// A first life, left alone until it has registered and subscribed: from then on the broker queues for it.
bool introduceHost(const HostProcess::Command& command, MessageStream& stream,
                   const std::filesystem::path& notes) {
    HostProcess host(command);
    return waitFor(
        [&] {
            stream.sendOne("introduction");
            const auto lines = linesOf(notes);
            return std::find(lines.begin(), lines.end(), "introduction") != lines.end();
        },
        kPatienceForTheRest);
}

WayOutcome testReceiving(const std::string& way, const std::string& hostProgram, Clock::duration duration,
                         const std::filesystem::path& folder, const xel::sandbox::SandboxInfo& info) {
    const auto notes = folder / (way + ".notes");
    const HostProcess::Command command{hostProgram, way, folder / (way + "-home"), notes, info};
    MessageStream stream(info, "killed01/default");
    if (!introduceHost(command, stream, notes)) {
        std::cerr << "kill test: by " << way << ": the host did not come up\n";
        return {};
    }
    std::ofstream(notes, std::ios::trunc).close();

    stream.start();
    if (!killRepeatedly(command, duration)) {
        return {};
    }
    const auto sent = stream.stop();
    HostProcess lastLife(command);
    waitFor([&] { return hasAll(notes, sent); }, kPatienceForTheRest);
    lastLife.kill();

    const auto verdict = xel::killtest::judge(sent, linesOf(notes), kTurnSize);
    std::cout << "kill test: by " << way << ": " << verdict.sent << " sent, " << verdict.lost.size()
              << " lost, " << verdict.seenTwice << " seen twice of which "
              << verdict.repeatedWithoutCause.size() << " without a cause, " << verdict.lives << " lives\n"
              << std::flush;
    // A run that sent or killed next to nothing proves nothing.
    return {verdict.isGood() && verdict.sent >= 100 && verdict.lives >= 3, verdict.sent, 0};
}

struct Order {
    std::string hostProgram;
    std::chrono::seconds time{};
    std::filesystem::path folder;
    std::size_t fewest = 0;
    std::vector<std::string> ways;
};

/// Nothing when it cannot be understood.
std::optional<Order> orderFrom(std::vector<std::string> words) {
    if (words.size() < 3) {
        return std::nullopt;
    }
    Order order{words[0], std::chrono::seconds(std::atoi(words[1].c_str())), words[2], 0, {}};
    words.erase(words.begin(), words.begin() + 3);
    if (words.size() >= 2 && words[0] == "--fewest") {
        order.fewest = static_cast<std::size_t>(std::atol(words[1].c_str()));
        words.erase(words.begin(), words.begin() + 2);
    }
    constexpr std::string_view kWays[] = {"delegate", "block", "notification", "publish", "broker"};
    const bool areKnown = std::all_of(words.begin(), words.end(), [&](const auto& way) {
        return std::find(std::begin(kWays), std::end(kWays), way) != std::end(kWays);
    });
    if (!areKnown || order.time <= std::chrono::seconds(0)) {
        return std::nullopt;
    }
    order.ways =
        words.empty() ? std::vector<std::string>(std::begin(kWays), std::prev(std::end(kWays))) : words;
    return order;
}

WayOutcome test(const std::string& way, const Order& order, Clock::duration time,
                xel::sandbox::SandboxService& service) {
    if (way == "publish") {
        return xel::killtest::testPublishing(order.hostProgram, time, order.folder, service.info());
    }
    if (way == "broker") {
        return xel::killtest::testBrokerKills(order.hostProgram, time, order.folder, service);
    }
    return testReceiving(way, order.hostProgram, time, order.folder, service.info());
}

/// Whether nothing was lost, of enough.
bool carryOut(const Order& order) {
    xel::sandbox::SandboxOptions options;
    options.stateFolder = order.folder / "service";
    options.mqttPort = options.mqttTlsPort = options.restPort = 0;
    options.log = [](auto&&...) {};
    xel::sandbox::SandboxService service(options);
    service.start();
    WayOutcome all{true, 0, 0};
    for (const auto& way : order.ways) {
        const WayOutcome outcome =
            test(way, order, Clock::duration(order.time) / static_cast<int>(order.ways.size()), service);
        all.isGood = outcome.isGood && all.isGood;
        all.messagesIn += outcome.messagesIn;
        all.eventsOut += outcome.eventsOut;
    }
    service.stop();
    const bool isEnough = all.messagesIn >= order.fewest && all.eventsOut >= order.fewest;
    const char* verdict = isEnough ? "nothing lost" : "too few to tell";
    std::cout << "kill test: " << all.messagesIn << " messages, " << all.eventsOut
              << " events: " << (all.isGood ? verdict : "FAILED") << '\n';
    return all.isGood && isEnough;
}

}  // namespace

int main(int argc, char** argv) {
    const auto order = orderFrom(std::vector<std::string>(argv + 1, argv + argc));
    if (!order) {
        std::cerr << "usage: kill_driver <kill_host program> <seconds> <state folder> [--fewest <number>] "
                     "[delegate|block|notification|publish|broker ...]\n";
        return 2;
    }
    mosquitto_lib_init();
    try {
        return carryOut(*order) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "kill test: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
