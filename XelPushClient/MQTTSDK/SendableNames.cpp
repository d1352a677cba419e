#include "XelPushClient/MQTTSDK/SendableNames.h"

#include <algorithm>
#include <cstdint>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {
namespace {

constexpr std::size_t kLongestShownName = 120;

// What stands for an octet that belongs to no character.
constexpr char32_t kReplacementCharacter = 0xFFFD;
constexpr std::string_view kReplacementCharacterText = "\xEF\xBF\xBD";

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character <= 0x9F);
}

// Unicode sets 66 of them aside for good: a block, and the last two of each plane.
bool isNonCharacter(char32_t character) {
    return (character >= 0xFDD0 && character <= 0xFDEF) || (character & 0xFFFEU) == 0xFFFE;
}

bool isPrintableAscii(char octet) {
    return octet >= 0x20 && octet < 0x7F;
}

/// The first character that brokers may refuse; 0 when there is none. The text is well-formed.
char32_t firstRefusedCharacter(std::string_view text) {
    // Names are nearly always plain, and every publication's topic passes here.
    if (std::all_of(text.begin(), text.end(), isPrintableAscii)) {
        return 0;
    }
    while (!text.empty()) {
        const char32_t character = takeFirstCharacter(text);
        if (isControl(character) || isNonCharacter(character)) {
            return character;
        }
    }
    return 0;
}

std::string codePoint(char32_t character) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string digits;
    for (auto rest = static_cast<std::uint32_t>(character); rest != 0 || digits.size() < 4; rest >>= 4U) {
        digits.insert(digits.begin(), kDigits[rest & 0xFU]);
    }
    return "U+" + digits;
}

}  // namespace

bool isSendableText(std::string_view text) {
    return isValidMQTTString(text) && firstRefusedCharacter(text) == 0;
}

bool isSendableTopicName(std::string_view topic) {
    return isValidTopicName(topic) && firstRefusedCharacter(topic) == 0;
}

bool isSendableTopicFilter(std::string_view filter) {
    return isValidTopicFilter(filter) && firstRefusedCharacter(filter) == 0;
}

bool isSendableConnect(const MQTTSessionParameters& parameters) {
    return isSendableText(parameters.clientId) && isSendableText(parameters.userName) &&
           parameters.password.size() <= kMQTTMaxStringLength &&
           (parameters.cleanSession || !parameters.clientId.empty());
}

NSError makeIdentityError(const MQTTSessionParameters& parameters) {
    std::string description = "connection not attempted: not authorized: ";
    if (!isSendableText(parameters.clientId) || parameters.clientId.empty()) {
        description += "the client id '" + shownName(parameters.clientId) + "' " +
                       reasonNotSendable(parameters.clientId);
    } else if (!isSendableText(parameters.userName)) {
        description += "the user name '" + shownName(parameters.userName) + "' " +
                       reasonNotSendable(parameters.userName);
    } else {
        description += "the password has more octets than the 65535 that MQTT can say";
    }
    return makeMQTTError(MQTTErrorCode::NotAuthorized, description);
}

std::string reasonNotSendable(std::string_view text) {
    if (text.empty()) {
        return "is empty";
    }
    if (text.size() > kMQTTMaxStringLength) {
        return "has " + std::to_string(text.size()) + " octets, more than the 65535 that MQTT can say";
    }
    if (text.find('\0') != std::string_view::npos) {
        return "holds the character U+0000";
    }
    if (!isValidUTF8(text)) {
        return "is not UTF-8";
    }
    if (const char32_t character = firstRefusedCharacter(text); character != 0) {
        return std::string(isControl(character) ? "holds the control character "
                                                : "holds the non-character ") +
               codePoint(character);
    }
    return "holds a wildcard where none may stand";
}

std::string shownName(std::string_view name) {
    std::string shown;
    while (!name.empty() && shown.size() < kLongestShownName) {
        const std::string_view before = name;
        const char32_t character = takeFirstCharacter(name);
        if (isControl(character) || isNonCharacter(character)) {
            shown += "<" + codePoint(character) + ">";
        } else if (character == kReplacementCharacter) {
            shown += kReplacementCharacterText;
        } else {
            shown += before.substr(0, before.size() - name.size());
        }
    }
    return name.empty() ? shown : shown + "...";
}

NSError makeNotSendableError(std::string_view topic) {
    return makeMQTTError(MQTTErrorCode::NameNotSendable,
                         "the topic '" + shownName(topic) +
                             "' cannot be sent, because brokers may end the connection on it: it " +
                             reasonNotSendable(topic));
}

}  // namespace xel
