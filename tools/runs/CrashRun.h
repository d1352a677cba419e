#pragma once

#include <string>

#include "tools/runs/ClientRun.h"

namespace xel::tools {

struct CrashOptions {
    ClientChoice client{};
    std::string data = "{}";
    bool saveOnDisk = false;
};

/// Sends a crash report of a registered client, and waits for the backend's answer.
class CrashRun final : public ClientRun {
public:
    CrashRun(CrashOptions options, ServiceAccess access);

private:
    void start() override;
    void connected() override;
    void recorded(const DiagnosticRecord& record) override;
    [[nodiscard]] std::string awaited() const override { return "the backend's answer"; }

    CrashOptions options_;
};

}  // namespace xel::tools
