#include "tests/kill/KillLoop.h"

#include <fstream>
#include <iostream>
#include <random>

namespace xel::killtest {

std::vector<std::string> linesOf(const std::filesystem::path& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool killRepeatedly(const HostProcess::Command& command, std::chrono::steady_clock::duration duration) {
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> lifetimeMilliseconds(150, 850);
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end) {
        HostProcess host(command);
        std::this_thread::sleep_for(std::chrono::milliseconds(lifetimeMilliseconds(random)));
        if (!host.isRunning()) {
            std::cerr << "kill test: by " << command.way << ": the host ended by itself\n";
            return false;
        }
    }
    return true;
}

}  // namespace xel::killtest
