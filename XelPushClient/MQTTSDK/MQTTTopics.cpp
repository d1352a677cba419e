#include "XelPushClient/MQTTSDK/MQTTTopics.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"

namespace xel {

namespace {

// Every publication's topic passes here, so eight octets are looked at together.
constexpr std::uint64_t kLowBits = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

constexpr std::uint64_t eightOf(char character) {
    return kLowBits * static_cast<unsigned char>(character);
}

// Not 0 when an octet of the word is 0.
constexpr std::uint64_t zeroOctets(std::uint64_t word) {
    return (word - kLowBits) & ~word & kHighBits;
}

struct Findings {
    std::uint64_t beyondAscii = 0;
    std::uint64_t nul = 0;
    std::uint64_t wildcard = 0;

    void look(std::uint64_t word) {
        beyondAscii |= word & kHighBits;
        nul |= zeroOctets(word);
        wildcard |= zeroOctets(word ^ eightOf('+')) | zeroOctets(word ^ eightOf('#'));
    }
};

Findings look(std::string_view text) {
    Findings findings;
    std::uint64_t word = 0;
    while (text.size() >= sizeof word) {
        std::memcpy(&word, text.data(), sizeof word);
        findings.look(word);
        text.remove_prefix(sizeof word);
    }
    if (!text.empty()) {
        // Filled up with a letter that is none of what is looked for.
        word = eightOf('a');
        std::memcpy(&word, text.data(), text.size());
        findings.look(word);
    }
    return findings;
}

bool isWellFormed(std::string_view text, const Findings& findings) {
    return findings.nul == 0 && (findings.beyondAscii == 0 || isValidUTF8(text));
}

bool isValidLevel(std::string_view level, bool isLast) {
    if (level == "+" || (level == "#" && isLast)) {
        return true;
    }
    return level.find_first_of("+#") == std::string_view::npos;
}

}  // namespace

bool isValidMQTTString(std::string_view text) {
    return text.size() <= kMQTTMaxStringLength && isWellFormed(text, look(text));
}

bool isValidTopicName(std::string_view topic) {
    if (topic.empty() || topic.size() > kMQTTMaxStringLength) {
        return false;
    }
    const Findings findings = look(topic);
    return findings.wildcard == 0 && isWellFormed(topic, findings);
}

bool isValidTopicFilter(std::string_view filter) {
    if (filter.empty() || !isValidMQTTString(filter)) {
        return false;
    }
    for (;;) {
        const std::size_t slash = filter.find('/');
        const bool isLast = slash == std::string_view::npos;
        if (!isValidLevel(filter.substr(0, slash), isLast)) {
            return false;
        }
        if (isLast) {
            return true;
        }
        filter.remove_prefix(slash + 1);
    }
}

namespace {

constexpr std::size_t kLongestShownName = 120;

// What stands for an octet that belongs to no character.
constexpr char32_t kOctetMark = 0xFFFD;
constexpr std::string_view kOctetMarkText = "\xEF\xBF\xBD";

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character <= 0x9F);
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
           // A password is octets, not text (section 3.1.3.5).
           parameters.password.size() <= kMQTTMaxStringLength &&
           // Without a client id there is no session to keep ([MQTT-3.1.3-7]).
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
        } else if (character == kOctetMark) {
            shown += kOctetMarkText;
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
