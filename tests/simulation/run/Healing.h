#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xel::simulation {

// How a run ends, as lines of a scenario: nothing fails any more, and there is time enough for everything.

/// The step by which requests are answered by a backend that has faults of its own.
inline constexpr std::string_view kBackendThatAnswers = "given a backend that answers";
/// Without it: each request is answered well, until a step arranges another answer for the next one.
[[nodiscard]] std::vector<std::string> stepsThatAnswerRequests();

/// Every fault ends, and some minutes pass: what comes back by itself is back.
[[nodiscard]] std::vector<std::string> stepsThatHeal(bool hasBackend);

/// The application is in front and the network tells of itself.
[[nodiscard]] std::vector<std::string> stepsThatWake();

/// The hosts of these clients register and connect them, the broker ends each connection once, and hours
/// pass, in which everything is tried again that was set aside.
[[nodiscard]] std::vector<std::string> stepsThatStartAnew(const std::vector<std::string>& clients);

/// The user that the host of that client registers at first.
[[nodiscard]] std::string userOf(const std::string& client);

/// The line is that client's.
[[nodiscard]] std::string actingAs(const std::string& client, const std::string& line);

}  // namespace xel::simulation
