#include "XelPushClient/MQTTSDK/MQTTTopics.h"

#include <cstdint>
#include <cstring>

#include "XelPushClient/Foundation/StringUtilities.h"
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

}  // namespace xel
