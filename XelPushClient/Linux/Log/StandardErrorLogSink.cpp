#include "XelPushClient/Linux/Log/StandardErrorLogSink.h"

#include <new>

#include "XelPushClient/Linux/Log/LogLine.h"

namespace xel {

void StandardErrorLogSink::write(std::string_view line) {
    try {
        writer_.write(printableLogText(line) + '\n');
    } catch (const std::bad_alloc&) {
        return;  // nowhere to tell about it
    }
}

}  // namespace xel
