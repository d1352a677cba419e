#include "XelPushClient/Linux/System/GettextStrings.h"

#include <libintl.h>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

std::string GettextStrings::localizedUserNotificationStringForKey(const std::string& key) {
    // The empty key would give the catalogue's header, and one with a NUL inside would be looked up cut.
    if (key.empty() || key.find('\0') != std::string::npos) {
        return key;
    }
    const char* domain = textDomain_.empty() ? nullptr : textDomain_.c_str();
    std::string translation = ::dgettext(domain, key.c_str());
    return isValidUTF8(translation) ? translation : key;
}

}  // namespace xel
