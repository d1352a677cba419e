#pragma once

#include <string_view>

#include <unistd.h>

#include "XelPushClient/Linux/Log/LineWriter.h"
#include "XelPushClient/Platform/LogSink.h"

namespace xel {

/// Log entries on standard error; those of several threads do not mix.
class StandardErrorLogSink final : public LogSink {
public:
    void write(std::string_view line) override;

private:
    LineWriter writer_{STDERR_FILENO};
};

}  // namespace xel
