#pragma once

namespace xel {

struct CrashReportOptions {
    /// Also write the report to a file of its own in the home's documents folder.
    bool saveOnDisk = false;
};

}  // namespace xel
