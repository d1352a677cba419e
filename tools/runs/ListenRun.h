#pragma once

#include <cstddef>
#include <memory>

#include "tools/options/ClientChoice.h"
#include "tools/runs/ClientRun.h"
#include "tools/runs/ListenReport.h"

namespace xel::tools {

/// One run of `xelpush listen`: prints everything that the client is told.
class ListenRun final : public ClientRun {
public:
    ListenRun(ListenOptions options, ServiceAccess access);
    ~ListenRun() override;

private:
    class Listener;

    void start() override;
    void registered() override;
    void registrationFailed(const NSError& error) override;
    void stateChanged() override;
    void recorded(const DiagnosticRecord& record) override;
    void timeIsUp() override;
    void arrived();

    ListenOptions options_;
    ListenReport report_;
    std::shared_ptr<Listener> listener_;
    std::size_t arrived_ = 0;
};

}  // namespace xel::tools
