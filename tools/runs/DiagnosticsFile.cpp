#include "tools/runs/DiagnosticsFile.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

#include "XelPushClient/Linux/System/SystemClock.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

int openToAppend(const std::string& path) {
    const int file =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, S_IRUSR | S_IWUSR);
    if (file < 0) {
        throw CommandFailure(ExitCode::Failure,
                             "the diagnostics cannot be written to '" + path + "': " + std::strerror(errno));
    }
    return file;
}

}  // namespace

DiagnosticsFile::DiagnosticsFile(const std::string& path)
    : file_(openToAppend(path)), sink_(file_.number(), std::make_shared<SystemClock>()) {}

}  // namespace xel::tools
