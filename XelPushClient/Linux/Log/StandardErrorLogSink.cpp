#include "XelPushClient/Linux/Log/StandardErrorLogSink.h"

#include <cerrno>
#include <new>
#include <string>

#include <unistd.h>

#include "XelPushClient/Linux/Log/LogLine.h"

namespace xel {

void StandardErrorLogSink::write(std::string_view line) {
    try {
        const std::string text = printableLogText(line) + '\n';
        std::string_view left = text;
        while (!left.empty()) {
            const ssize_t written = ::write(STDERR_FILENO, left.data(), left.size());
            if (written < 0 && errno != EINTR) {
                return;  // nowhere to tell about it
            }
            left.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace xel
