#include "tests/simulation/run/Healing.h"

namespace xel::simulation {

std::string userOf(const std::string& client) {
    return client.empty() ? "alice01" : client + "01";
}

std::string actingAs(const std::string& client, const std::string& line) {
    return client.empty() ? line : "as " + client + " " + line;
}

std::vector<std::string> stepsThatAnswerRequests() {
    return {
        R"(rest always POST installations 200 {"id":"D1"})",
        R"(rest always PUT installations/D1 200 {"id":"D1"})",
        "rest always DELETE installations/D1 200 {}",
    };
}

std::vector<std::string> stepsThatHeal(bool hasBackend) {
    std::vector<std::string> steps{"broker cuts reads to 65536", "service heals"};
    if (!hasBackend) {
        const auto answers = stepsThatAnswerRequests();
        steps.insert(steps.end(), answers.begin(), answers.end());
    }
    // What was lost on a connection, an acknowledgement for one, comes again with the next only.
    for (const auto* const step :
         {"disk works", "disk releases-turns", "broker ends connections", "time passes 300 s"}) {
        steps.emplace_back(step);
    }
    return steps;
}

std::vector<std::string> stepsThatWake() {
    return {
        "network becomes none",       "network becomes wifi", "application enters-foreground",
        "application becomes-active", "time passes 100 s",
    };
}

std::vector<std::string> stepsThatStartAnew(const std::vector<std::string>& clients) {
    std::vector<std::string> steps;
    const auto eachHost = [&](const std::string& act) {
        for (const auto& client : clients) {
            steps.push_back(actingAs(client, "host " + act));
        }
    };
    eachHost("registerApplication shop key demo secret");
    for (const auto& client : clients) {
        steps.push_back(actingAs(client, "host registerUser " + userOf(client)));
    }
    steps.emplace_back("time passes 30 s");
    // Whatever stood in the way of the first connection, nothing stands in that of another one.
    eachHost("disconnectFromServer");
    eachHost("connectToServer");
    steps.emplace_back("time passes 10 s");
    steps.emplace_back("broker ends connections");
    steps.emplace_back("time passes 14400 s");
    return steps;
}

}  // namespace xel::simulation
