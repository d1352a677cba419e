#pragma once

#include <string_view>

namespace xel {

/// A text as MQTT 3.1.1 section 1.5.3 allows it: at most 65,535 octets of well-formed UTF-8 without NUL.
[[nodiscard]] bool isValidMQTTString(std::string_view text);

/// A topic that something can be published on (section 4.7): such a text, not empty, without a wildcard.
[[nodiscard]] bool isValidTopicName(std::string_view topic);

/// A topic that can be subscribed to (section 4.7.1): such a text, not empty, in which "+" stands alone in
/// its level and "#" alone in the last one.
[[nodiscard]] bool isValidTopicFilter(std::string_view filter);

}  // namespace xel
