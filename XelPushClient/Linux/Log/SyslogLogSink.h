#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Platform/LogSink.h"

namespace xel {

/// Log entries to syslog(3), each on one line, facility user, priority info. One for a process: syslog has
/// one identity. Like syslog(3) itself it waits while the machine's log takes nothing.
class SyslogLogSink final : public LogSink {
public:
    /// `identity` stands in front of each line; usually the program's name.
    explicit SyslogLogSink(std::string identity);
    ~SyslogLogSink() override;
    SyslogLogSink(const SyslogLogSink&) = delete;
    SyslogLogSink& operator=(const SyslogLogSink&) = delete;

    void write(std::string_view line) override;

private:
    std::string identity_;  // syslog keeps the pointer
};

}  // namespace xel
