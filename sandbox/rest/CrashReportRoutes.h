#pragma once

#include "sandbox/rest/RestMessage.h"

namespace xel::sandbox {

class CrashReportStore;
class ProgressLog;

/// POST crashReports: keeps the report, a JSON object of at most 1 MiB, and answers {"id": ...}.
class CrashReportRoutes final : public RestRoutes {
public:
    CrashReportRoutes(CrashReportStore& crashes, ProgressLog& log);

    bool handle(const RestRequest& request, const RestResponder& respond) override;

private:
    RestResponse keep(const RestRequest& request);

    CrashReportStore& crashes_;
    ProgressLog& log_;
};

}  // namespace xel::sandbox
