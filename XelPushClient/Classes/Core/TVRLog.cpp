#include "XelPushClient/Classes/Core/TVRLog.h"

#include "XelPushClient/Classes/Core/PersistedKeys.h"

namespace xel {
namespace {

constexpr std::string_view kLogFrame =
    "\nTAVRINPUSH LOG : ----------------------\n\n %@ \n\n----------------------";

}  // namespace

bool LogOutput::isOn() const {
    return isAlways_ ? *isAlways_ : defaults_.boolForKey(kEnableLogKey);
}

void LogOutput::write(std::string_view message) const {
    sink_.write(formatted(kLogFrame, message));
}

}  // namespace xel
