#include "XelPushClient/Linux/Log/SyslogLogSink.h"

#include <new>
#include <utility>

#include <syslog.h>

#include "XelPushClient/Linux/Log/LogLine.h"

namespace xel {

SyslogLogSink::SyslogLogSink(std::string identity) : identity_(std::move(identity)) {
    // It keeps the pointer (syslog(3)), so the text is this object's own.
    ::openlog(identity_.c_str(), LOG_PID, LOG_USER);
}

SyslogLogSink::~SyslogLogSink() {
    ::closelog();
}

void SyslogLogSink::write(std::string_view line) {
    try {
        ::syslog(LOG_INFO, "%s", printableLogLine(line).c_str());
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace xel
