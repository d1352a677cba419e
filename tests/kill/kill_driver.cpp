// Kills a host with SIGKILL about twice a second while messages flow to it, or events from it, and looks
// whether one is lost.
//
//   kill_driver <kill_host program> <seconds> <state folder> [way ...]
//
// The time is shared by the ways: the three in which a host may hear of messages (delegate, block,
// notification), and publish, a host that publishes events; all four unless some are named. The broker is a
// real one with its own default of 20 messages in flight; the messages go through the local push service.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include <mosquitto.h>

#include "sandbox/SandboxService.h"
#include "tests/kill/HostProcess.h"
#include "tests/kill/KillLoop.h"
#include "tests/kill/KillVerdict.h"
#include "tests/kill/MessageStream.h"
#include "tests/kill/PublishingRun.h"

namespace {

using Clock = std::chrono::steady_clock;
using xel::killtest::HostProcess;
using xel::killtest::killRepeatedly;
using xel::killtest::kPatienceForTheRest;
using xel::killtest::linesOf;
using xel::killtest::MessageStream;
using xel::killtest::waitFor;

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

bool testReceiving(const std::string& way, const std::string& hostProgram, Clock::duration duration,
                   const std::filesystem::path& folder, const xel::sandbox::SandboxInfo& info) {
    const auto notes = folder / (way + ".notes");
    const HostProcess::Command command{hostProgram, way, folder / (way + "-home"), notes, info};
    MessageStream stream(info, "killed01");
    if (!introduceHost(command, stream, notes)) {
        std::cerr << "kill test: by " << way << ": the host did not come up\n";
        return false;
    }
    std::ofstream(notes, std::ios::trunc).close();

    stream.start();
    if (!killRepeatedly(command, duration)) {
        return false;
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
    return verdict.isGood() && verdict.sent >= 100 && verdict.lives >= 3;
}

/// The ways asked for, or all; none when one is unknown.
std::vector<std::string> waysFrom(int count, char** names) {
    const std::vector<std::string> all{"delegate", "block", "notification", "publish"};
    const std::vector<std::string> wanted(names, names + count);
    const bool areKnown = std::all_of(wanted.begin(), wanted.end(), [&](const auto& way) {
        return std::find(all.begin(), all.end(), way) != all.end();
    });
    if (!areKnown) {
        return {};
    }
    return wanted.empty() ? all : wanted;
}

}  // namespace

int main(int argc, char** argv) {
    const auto ways = argc < 4 ? std::vector<std::string>() : waysFrom(argc - 4, argv + 4);
    if (ways.empty()) {
        std::cerr << "usage: kill_driver <kill_host program> <seconds> <state folder> "
                     "[delegate|block|notification|publish ...]\n";
        return 2;
    }
    mosquitto_lib_init();
    try {
        const std::filesystem::path folder = argv[3];
        xel::sandbox::SandboxOptions options;
        options.stateFolder = folder / "service";
        options.mqttPort = options.mqttTlsPort = options.restPort = 0;
        options.log = [](auto&&...) {};
        xel::sandbox::SandboxService service(options);
        service.start();
        const auto count = static_cast<int>(ways.size());
        const Clock::duration each = std::chrono::seconds(std::max(count, std::atoi(argv[2]))) / count;
        bool isGood = true;
        for (const auto& way : ways) {
            const bool isWayGood = way == "publish"
                                       ? xel::killtest::testPublishing(argv[1], each, folder, service.info())
                                       : testReceiving(way, argv[1], each, folder, service.info());
            isGood = isWayGood && isGood;
        }
        service.stop();
        std::cout << (isGood ? "kill test: nothing lost\n" : "kill test: FAILED\n");
        return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "kill test: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
