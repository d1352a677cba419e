#include "tools/runs/CrashRun.h"

#include <utility>
#include <variant>

#include "tools/options/OptionTypes.h"
#include "tools/output/Output.h"

namespace xel::tools {

CrashRun::CrashRun(CrashOptions options, ServiceAccess access)
    : ClientRun(options.client, std::move(access)), options_(std::move(options)) {}

void CrashRun::start() {
    registerUser();
}

void CrashRun::connected() {
    push().applicationCrashedWithUserInfo(parseJsonObject(options_.data),
                                          {.saveOnDisk = options_.saveOnDisk});
}

void CrashRun::recorded(const DiagnosticRecord& record) {
    const auto* outcome = std::get_if<CrashReportEnded>(&record);
    if (outcome == nullptr) {
        return;
    }
    if (outcome->error) {
        end(ExitCode::Failure, "no crash report kept: " + outcome->error->description);
        return;
    }
    const std::string id = outcome->id.value_or("");
    printLine(choice().json, {{"type", "crash"}, {"id", id}}, "crash report kept as " + id);
    end();
}

}  // namespace xel::tools
