// Lets a host serve one user after the other, each reset before the next, and looks whether it holds more and
// more memory, descriptors, threads or disk.
//
//   soak_driver <soak_host program> <seconds> <state folder>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <mosquitto.h>

#include "sandbox/SandboxService.h"
#include "tests/kill/HostProcess.h"
#include "tests/kill/KillLoop.h"
#include "tests/kill/MessageStream.h"
#include "tests/soak/ProcessSample.h"
#include "tests/soak/SoakVerdict.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kMessagesAUser = "40";
constexpr std::size_t kFewestUsers = 10;
constexpr auto kPauseBetweenSamples = 200ms;

/// Throws when a user takes too long: then the host is stuck.
std::vector<xel::soak::ProcessSample> watch(xel::killtest::HostProcess& host, Clock::duration duration,
                                            const std::filesystem::path& home,
                                            const std::filesystem::path& notes) {
    std::vector<xel::soak::ProcessSample> samples;
    std::size_t users = 0;
    auto lastUserAt = Clock::now();
    const auto end = Clock::now() + duration;
    while (Clock::now() < end) {
        std::this_thread::sleep_for(kPauseBetweenSamples);
        if (!host.isRunning()) {
            throw std::runtime_error("the host ended by itself");
        }
        if (const auto now = xel::killtest::linesOf(notes).size(); now != users) {
            users = now;
            lastUserAt = Clock::now();
        }
        if (Clock::now() - lastUserAt > xel::killtest::kPatienceForTheRest) {
            throw std::runtime_error("no user came to an end for a minute, after " + std::to_string(users));
        }
        samples.push_back(xel::soak::sampleOf(host.pid(), home));
    }
    return samples;
}

std::string inWords(const xel::soak::ProcessSample& sample) {
    return std::to_string(sample.memory / 1024) + " KiB, " + std::to_string(sample.descriptors) +
           " descriptors, " + std::to_string(sample.threads) + " threads, " +
           std::to_string(sample.store / 1024) + " KiB on disk";
}

bool soak(const std::string& program, std::chrono::seconds duration, const std::filesystem::path& folder) {
    xel::sandbox::SandboxOptions options;
    options.stateFolder = folder / "service";
    options.mqttPort = options.mqttTlsPort = options.restPort = 0;
    options.log = [](auto&&...) {};
    xel::sandbox::SandboxService service(options);
    service.start();
    const auto home = folder / "home";
    const auto notes = folder / "notes";
    std::filesystem::create_directories(home);
    xel::killtest::MessageStream stream(service.info(), "public/news");
    stream.start();
    xel::killtest::HostProcess host({program, kMessagesAUser, home, notes, service.info()});
    const auto verdict = xel::soak::judge(watch(host, duration, home, notes));
    host.kill();
    static_cast<void>(stream.stop());
    const auto users = xel::killtest::linesOf(notes).size();
    std::cout << "soak: " << users << " users, each reset; warm " << inWords(verdict.warm) << "; at the end "
              << inWords(verdict.last) << '\n';
    for (const auto& line : verdict.grown) {
        std::cout << "soak: " << line << '\n';
    }
    // A run of next to no users proves nothing.
    return verdict.isGood() && users >= kFewestUsers;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4 || std::atoi(argv[2]) <= 0) {
        std::cerr << "usage: soak_driver <soak_host program> <seconds> <state folder>\n";
        return 2;
    }
    mosquitto_lib_init();
    try {
        const bool isGood = soak(argv[1], std::chrono::seconds(std::atoi(argv[2])), argv[3]);
        std::cout << (isGood ? "soak: nothing grows\n" : "soak: FAILED\n");
        return isGood ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "soak: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
