// Kills a host with SIGKILL about twice a second while messages flow to it, and looks whether one is lost.
//
//   kill_driver <kill_host program> <seconds> <state folder>
//
// A third of the time is spent on each way in which a host may hear of messages. The broker is a real one
// with its own default of 20 messages in flight; the messages go through the local push service.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <mosquitto.h>

#include "sandbox/SandboxService.h"
#include "tests/kill/HostProcess.h"
#include "tests/kill/KillVerdict.h"
#include "tests/kill/MessageStream.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using xel::killtest::HostProcess;
using xel::killtest::MessageStream;

/// The most publications of one turn of the client.
constexpr std::size_t kTurnSize = 24;
constexpr auto kPatienceForTheRest = 60s;

std::vector<std::string> linesOf(const std::filesystem::path& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool hasAll(const std::filesystem::path& notes, const std::vector<std::string>& sent) {
    const auto lines = linesOf(notes);
    const std::set<std::string> noted(lines.begin(), lines.end());
    return std::all_of(sent.begin(), sent.end(),
                       [&](const auto& message) { return noted.contains(message); });
}

template <class Condition>
bool waitFor(Condition condition, Clock::duration patience) {
    const auto end = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(50ms);
    }
    return true;
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

bool testWay(const std::string& way, const std::string& hostProgram, Clock::duration duration,
             const std::filesystem::path& folder, const xel::sandbox::SandboxInfo& info) {
    const auto notes = folder / (way + ".notes");
    const HostProcess::Command command{hostProgram, way, folder / (way + "-home"), notes, info};
    MessageStream stream(info, "killed01");
    if (!introduceHost(command, stream, notes)) {
        std::cerr << "kill test: by " << way << ": the host did not come up\n";
        return false;
    }
    std::ofstream(notes, std::ios::trunc).close();

    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> lifetimeMilliseconds(150, 850);
    stream.start();
    const auto end = Clock::now() + duration;
    while (Clock::now() < end) {
        HostProcess host(command);
        std::this_thread::sleep_for(std::chrono::milliseconds(lifetimeMilliseconds(random)));
        if (!host.isRunning()) {
            std::cerr << "kill test: by " << way << ": the host ended by itself\n";
            return false;
        }
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

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: kill_driver <kill_host program> <seconds> <state folder>\n";
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
        const std::chrono::seconds duration(std::max(3, std::atoi(argv[2])));
        bool isGood = true;
        for (const std::string way : {"delegate", "block", "notification"}) {
            isGood = testWay(way, argv[1], duration / 3, folder, service.info()) && isGood;
        }
        service.stop();
        std::cout << (isGood ? "kill test: nothing lost\n" : "kill test: FAILED\n");
        return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "kill test: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
