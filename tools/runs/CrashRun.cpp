#include "tools/runs/CrashRun.h"

#include <utility>

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "tools/options/JsonOption.h"
#include "tools/output/Output.h"
#include "tools/runs/LogPhrase.h"

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

// The outcome of a crash report is told in the log only, on any thread.
void CrashRun::logged(std::string_view line) {
    if (const auto answer = textBehind(line, "CrashReport response ")) {
        post([this, text = std::string(*answer)] {
            const auto parsed =
                SimdjsonSerialization().JSONObjectWithData(text.substr(0, text.rfind('}') + 1));
            const Dictionary* record = parsed ? parsed.value().asDictionary() : nullptr;
            const std::string id = record != nullptr ? textOf(*record, "id") : "";
            printLine(choice().json, {{"type", "crash"}, {"id", id}}, "crash report kept as " + id);
            end();
        });
    } else if (const auto failure = textBehind(line, "CrashReport Error ")) {
        post([this, text = std::string(*failure)] {
            end(ExitCode::Failure, "no crash report kept: " + text);
        });
    }
}

}  // namespace xel::tools
