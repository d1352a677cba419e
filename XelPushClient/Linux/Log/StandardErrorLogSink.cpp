#include "XelPushClient/Linux/Log/StandardErrorLogSink.h"

#include <new>

#include <unistd.h>

#include "XelPushClient/Linux/Log/LineWriter.h"
#include "XelPushClient/Linux/Log/LogLine.h"

namespace xel {

StandardErrorLogSink::StandardErrorLogSink() : writer_(std::make_unique<LineWriter>(STDERR_FILENO)) {}

StandardErrorLogSink::~StandardErrorLogSink() = default;

void StandardErrorLogSink::write(std::string_view line) {
    try {
        writer_->write(printableLogText(line) + '\n');
    } catch (const std::bad_alloc&) {
        return;  // nowhere to tell about it
    }
}

}  // namespace xel
