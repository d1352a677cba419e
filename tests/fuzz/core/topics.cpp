// What is made of names: topics, channels, and the texts in which they are told.
//
// Input: four lines, which are the application's id, the user's, a channel and a text; then a topic.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

bool has(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Well-formed UTF-8 by the table of RFC 3629, section 4.
bool isUTF8(std::string_view text) {
    const auto octet = [&](std::size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    const auto isWithin = [](unsigned value, unsigned least, unsigned most) {
        return value >= least && value <= most;
    };
    for (std::size_t at = 0; at < text.size();) {
        const unsigned first = octet(at);
        std::size_t length = 1;
        if (first < 0x80) {
            ++at;
            continue;
        }
        unsigned least = 0x80;
        unsigned most = 0xBF;
        if (isWithin(first, 0xC2, 0xDF)) {
            length = 2;
        } else if (isWithin(first, 0xE0, 0xEF)) {
            length = 3;
            least = first == 0xE0 ? 0xA0 : least;
            most = first == 0xED ? 0x9F : most;
        } else if (isWithin(first, 0xF0, 0xF4)) {
            length = 4;
            least = first == 0xF0 ? 0x90 : least;
            most = first == 0xF4 ? 0x8F : most;
        } else {
            return false;
        }
        if (!isWithin(octet(at + 1), least, most)) {
            return false;
        }
        for (std::size_t next = 2; next < length; ++next) {
            if (!isWithin(octet(at + next), 0x80, 0xBF)) {
                return false;
            }
        }
        at += length;
    }
    return true;
}

void checkText(std::string_view text) {
    require(isValidUTF8(text) == isUTF8(text), "UTF-8 is UTF-8");
    std::string_view rest = text;
    std::size_t units = 0;
    while (!rest.empty()) {
        const std::size_t before = rest.size();
        const char32_t character = takeFirstCharacter(rest);
        require(rest.size() < before && before - rest.size() <= 4, "a character has 1 to 4 octets");
        units += character > 0xFFFF ? 2 : 1;
    }
    require(utf16Length(text) == units, "units are counted");

    std::string joined;
    for (const auto piece : splitString(text, "/")) {
        require(!has(piece, "/"), "a piece has no separator");
        joined += joined.empty() && piece.data() == text.data() ? "" : "/";
        joined += piece;
    }
    require(joined == text, "the pieces are the text");

    const std::string encoded = encodeUrlString(text);
    const auto isPlain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               has("-._~%", {&c, 1});
    };
    require(std::all_of(encoded.begin(), encoded.end(), isPlain), "what is encoded may stand in a URL");

    const auto& blanks = whitespaceAndNewlineCharacterSet();
    const auto trimmed =
        stringByTrimmingTrailingCharactersInSet(stringByTrimmingLeadingCharactersInSet(text, blanks), blanks);
    require(has(text, trimmed) && trimmed.empty() == isEmptyOrBlank(text), "of a blank text nothing is left");
}

void checkTopicOfMQTT(std::string_view topic) {
    const bool isName = !topic.empty() && isUTF8(topic) && !has(topic, {"\0", 1}) && topic.size() <= 65'535 &&
                        topic.find_first_of("+#") == std::string_view::npos;
    require(isValidTopicName(topic) == isName, "a topic's name is UTF-8 without NUL and wildcards");
    require(!isValidTopicName(topic) || isValidTopicFilter(topic), "a name is a filter");
    require(!isValidTopicFilter(topic) || isValidMQTTString(topic), "a filter is a text");
    require(!isSendableTopicName(topic) || (isValidTopicName(topic) && isSendableTopicFilter(topic)),
            "what may be published on may be subscribed to");
    require(isSendableTopicFilter(topic) == (isValidTopicFilter(topic) && isSendableText(topic)),
            "a filter leaves if its text may");
    require(!isValidTopicName(topic) || topicMatchesFilter(topic, topic), "a name matches itself");

    const std::string shown = shownName(topic);
    require(isUTF8(shown) && shown.size() <= 140 && shown.find_first_of("\n\r\t") == std::string::npos,
            "a name is shown in one short line");
    require(!reasonNotSendable(topic).empty(), "there are words for what is not sent");
}

/// As it is said: the prefix, anywhere in the topic.
bool isOfKind(std::string_view topic, std::string_view kind, const std::optional<std::string>& appId) {
    return !isEmptyOrBlank(topic) && has(topic, "app/" + appId.value_or("(null)") + "/" + std::string(kind));
}

void checkScheme(const TopicIdentity& identity, std::string_view channel, std::string_view topic) {
    require(isDeliveryTopic(topic, identity.appId) == isOfKind(topic, "delivery", identity.appId),
            "a delivery's topic has its prefix");
    require(isEventTopic(topic, identity.appId) == isOfKind(topic, "event", identity.appId),
            "an event's topic has its prefix");
    require(
        getChannelFromTopic(topic).has_value() == (splitString(topic, "/").size() >= 5) &&
            getChannelFromTopicForInstallation(topic).has_value() == getChannelFromTopic(topic).has_value(),
        "a channel takes five segments");

    const auto made = generateTopicWithChannel(identity, channel);
    if (!made) {
        return;
    }
    require(isChannelValid(channel), "only a valid channel has a topic");
    const bool isUsable = isUserIdValid(identity.userId) && identity.userId != "public" && identity.appId &&
                          isChannelValid(*identity.appId) && !has(*identity.appId, "/");
    if (!isUsable || isOfKind(made.value(), "event", identity.appId)) {
        return;
    }
    // A channel with a control character has a topic, but that one does not leave.
    require(isValidTopicName(made.value()) || has(channel, {"\0", 1}) || has(*identity.userId, {"\0", 1}) ||
                has(*identity.appId, {"\0", 1}) || made.value().size() > 65'535,
            "a channel has a topic that MQTT knows");
    const std::string bare(channel.starts_with("public/") ? channel.substr(7) : channel);
    require(getChannelFromTopic(made.value()) == bare, "a channel comes back from its topic");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const TopicIdentity identity{input.line(), input.line(), "D3V1CE"};
    const std::string channel = input.line();
    const std::string text = input.line();
    const std::string topic(input.rest());
    checkText(text);
    checkText(topic);
    checkTopicOfMQTT(text);
    checkTopicOfMQTT(topic);
    checkScheme(identity, channel, topic);
    require(!isEventNameValid(channel) || isChannelValid(channel), "an event's name is a channel's");
    return 0;
}
