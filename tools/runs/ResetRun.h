#pragma once

#include <string>

#include "tools/runs/ClientRun.h"

namespace xel::tools {

struct ResetOptions {
    ClientChoice client{};
    bool unregisters = false;  ///< the installation is removed from the backend, too
    bool offline = false;      ///< forgets here only, without unsubscribing at the broker
};

/// Has a client forget its identity, its topics and the rest.
class ResetRun final : public ClientRun {
public:
    ResetRun(ResetOptions options, ServiceAccess access);

private:
    void start() override;
    void connected() override;
    [[nodiscard]] std::string awaited() const override { return "the backend's answer"; }

    void resetNow();
    void unregisterNow();
    void done(bool isUnregistered);

    ResetOptions options_;
    std::string installation_;
};

}  // namespace xel::tools
