#pragma once

#include "sandbox/state/SandboxOptions.h"

namespace xel::sandbox {

/// Runs the local push service until SIGINT or SIGTERM comes, then ends it and returns; the broker's process
/// is gone by then. Throws PortTakenError or SandboxError when the service cannot start or cannot go on.
///
/// Takes over both signals while it runs. `options.onFailure` is called before the exception.
void runSandboxUntilSignal(SandboxOptions options);

}  // namespace xel::sandbox
