#pragma once

#include <string>

namespace xel {

/// The host's translated texts, in the language that the host has chosen. Thread: the machine's run loop.
class LocalizedStrings {
public:
    virtual ~LocalizedStrings() = default;

    /// The translation of the key, which is the untranslated text; the key itself when there is none.
    /// UTF-8.
    [[nodiscard]] virtual std::string localizedUserNotificationStringForKey(const std::string& key) = 0;
};

}  // namespace xel
