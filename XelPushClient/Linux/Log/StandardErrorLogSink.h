#pragma once

#include <string_view>

#include "XelPushClient/Platform/LogSink.h"

namespace xel {

/// Log entries on standard error, each in one write, so that entries of several threads do not mix.
class StandardErrorLogSink final : public LogSink {
public:
    void write(std::string_view line) override;
};

}  // namespace xel
