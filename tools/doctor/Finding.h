#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/output/Output.h"

namespace xel::tools {

enum class FindingState { Ok, Failed, Skipped };

/// What `xelpush doctor` found out about one thing.
struct Finding {
    std::string check{};  ///< what was looked at
    FindingState state = FindingState::Ok;
    std::string text{};
    std::string advice{};  ///< what to do about a failure
    ExitCode code = ExitCode::Success;
};

[[nodiscard]] Finding foundWell(std::string check, std::string text);
[[nodiscard]] Finding foundFailed(std::string check, std::string text, std::string advice, ExitCode code);
[[nodiscard]] Finding foundSkipped(std::string check, std::string_view needed);

using Findings = std::vector<Finding>;

/// One line on standard output for each.
void printFinding(bool json, const Finding& finding);

}  // namespace xel::tools
