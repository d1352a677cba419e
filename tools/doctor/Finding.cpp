#include "tools/doctor/Finding.h"

#include <algorithm>
#include <utility>

#include "tools/output/Output.h"

namespace xel::tools {

namespace {

constexpr std::size_t kStateWidth = 8;
constexpr std::size_t kCheckWidth = 14;

std::string padded(std::string_view text, std::size_t width) {
    std::string result(text);
    result.resize(std::max(width, result.size() + 1), ' ');
    return result;
}

std::string_view wordOf(FindingState state) {
    switch (state) {
        case FindingState::Ok: return "ok";
        case FindingState::Failed: return "failed";
        case FindingState::Skipped: return "skipped";
    }
    return "";
}

}  // namespace

Finding foundWell(std::string check, std::string text) {
    return {.check = std::move(check), .text = std::move(text)};
}

Finding foundFailed(std::string check, std::string text, std::string advice, ExitCode code) {
    return {std::move(check), FindingState::Failed, std::move(text), std::move(advice), code};
}

Finding foundSkipped(std::string check, std::string_view needed) {
    return {
        .check = std::move(check), .state = FindingState::Skipped, .text = "needs: " + std::string(needed)};
}

void printFinding(bool json, const Finding& finding) {
    Dictionary record{{"check", finding.check}, {"state", wordOf(finding.state)}, {"text", finding.text}};
    std::string line = padded(wordOf(finding.state), kStateWidth) + padded(finding.check, kCheckWidth);
    line += finding.text;
    if (!finding.advice.empty()) {
        record.set("advice", finding.advice);
        line += "; " + finding.advice;
    }
    printLine(json, record, line);
}

}  // namespace xel::tools
