#pragma once

#include "XelPushClient/Platform/NSThread.h"

namespace xel {

/// The stack by Boost.Stacktrace. Each call reads "<number> <module> <address> <symbol> + <offset>"; for a
/// call without a symbol, such as one of a stripped program, module and offset are what a symboliser takes.
class BoostCallStack final : public NSThread {
public:
    [[nodiscard]] std::vector<std::string> callStackSymbols() override;
};

}  // namespace xel
