#pragma once

#include <new>
#include <optional>
#include <string_view>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// Where one manager's log lines go, and the stored switch that lets them.
class LogOutput {
public:
    /// `isAlways` takes the place of the stored switch.
    LogOutput(const NSUserDefaults& defaults, LogSink& sink, std::optional<bool> isAlways = std::nullopt)
        : defaults_(defaults), sink_(sink), isAlways_(isAlways) {}

    /// Reads the stored switch each time: another part of the program may have turned it.
    [[nodiscard]] bool isOn() const;

    void write(std::string_view message) const;

private:
    const NSUserDefaults& defaults_;
    LogSink& sink_;
    const std::optional<bool> isAlways_;
};

/// The library's one log function. Writes one framed line when logging is on; otherwise the arguments are not
/// even formatted. A line for which there is no memory is not written, and nothing else fails with it. From
/// any thread.
template <class... Arguments>
void TVRLog(const LogOutput& log, std::string_view format, const Arguments&... arguments) {
    try {
        if (log.isOn()) {
            log.write(formatted(format, arguments...));
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace xel
