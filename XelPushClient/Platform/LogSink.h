#pragma once

#include <string_view>

namespace xel {

/// Where log lines go. From any thread; never throws, never blocks for long.
class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(std::string_view line) = 0;
};

}  // namespace xel
