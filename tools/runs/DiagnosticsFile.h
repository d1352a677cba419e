#pragma once

#include <string>

#include "XelPushClient/Linux/Log/JSONLinesSink.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"

namespace xel::tools {

/// A file of the user's to which diagnostic records are appended, as JSON objects, one a line.
class DiagnosticsFile final {
public:
    /// Throws `CommandFailure` when the file cannot be opened.
    explicit DiagnosticsFile(const std::string& path);

    void record(const DiagnosticRecord& record) { sink_.record(record); }

private:
    FileDescriptor file_;
    JSONLinesSink sink_;
};

}  // namespace xel::tools
