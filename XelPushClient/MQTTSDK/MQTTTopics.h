#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// A text as MQTT 3.1.1 section 1.5.3 allows it: at most 65,535 octets of well-formed UTF-8 without NUL.
[[nodiscard]] bool isValidMQTTString(std::string_view text);

/// A topic that something can be published on (section 4.7): such a text, not empty, without a wildcard.
[[nodiscard]] bool isValidTopicName(std::string_view topic);

/// A topic that can be subscribed to (section 4.7.1): such a text, not empty, in which "+" stands alone in
/// its level and "#" alone in the last one.
[[nodiscard]] bool isValidTopicFilter(std::string_view filter);

// What may leave in a CONNECT, SUBSCRIBE or PUBLISH. MQTT 3.1.1 section 1.5.3 lets a broker end the
// connection on a text with a control character (U+0001 to U+001F, U+007F to U+009F) or a non-character (such
// as U+FFFE), and brokers do. A name like that, kept and sent at each connect, would lock the client out for
// ever; so it never leaves. What arrives is read more leniently: see `isValidMQTTString`.

/// A client id or a user name: valid, and without such a character.
[[nodiscard]] bool isSendableText(std::string_view text);

[[nodiscard]] bool isSendableTopicName(std::string_view topic);
[[nodiscard]] bool isSendableTopicFilter(std::string_view filter);

/// Whether the parameters can be sent in a CONNECT (section 3.1.3), and the error of those that cannot. It
/// has the code and the words of a broker's refusal, because it ends in the same way: another identity is
/// needed.
[[nodiscard]] bool isSendableConnect(const MQTTSessionParameters& parameters);
[[nodiscard]] NSError makeIdentityError(const MQTTSessionParameters& parameters);

/// Why a text is not sendable, as the end of a sentence: "holds the control character U+0007".
[[nodiscard]] std::string reasonNotSendable(std::string_view text);

/// A name as an error may show it: in one line, and not at length.
[[nodiscard]] std::string shownName(std::string_view name);

/// The error (`NameNotSendable`) of a topic that is not sendable.
[[nodiscard]] NSError makeNotSendableError(std::string_view topic);

}  // namespace xel
