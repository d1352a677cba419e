#pragma once

#include <string>
#include <utility>

#include "XelPushClient/Platform/LocalizedStrings.h"

namespace xel {

/// The host's translations by gettext(3).
///
/// Language and translations are the host's business: it calls setlocale(3), names the folder of its domain
/// with bindtextdomain(3), and UTF-8 with bind_textdomain_codeset(3) where its locale speaks something else.
/// Nothing of that is changed here.
class GettextStrings final : public LocalizedStrings {
public:
    /// The host's text domain; empty: the one that textdomain(3) has set.
    explicit GettextStrings(std::string textDomain = {}) : textDomain_(std::move(textDomain)) {}

    [[nodiscard]] std::string localizedUserNotificationStringForKey(const std::string& key) override;

private:
    std::string textDomain_;
};

}  // namespace xel
