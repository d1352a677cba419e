#pragma once

#include <memory>
#include <string_view>

#include "XelPushClient/Platform/LogSink.h"

namespace xel {

class LineWriter;

/// Log entries on standard error; those of several threads do not mix.
class StandardErrorLogSink final : public LogSink {
public:
    StandardErrorLogSink();
    ~StandardErrorLogSink() override;
    StandardErrorLogSink(const StandardErrorLogSink&) = delete;
    StandardErrorLogSink& operator=(const StandardErrorLogSink&) = delete;

    void write(std::string_view line) override;

private:
    std::unique_ptr<LineWriter> writer_;
};

}  // namespace xel
