#include "XelPushClient/Classes/Models/DeliveryMessage.h"

#include <cmath>

#include "XelPushClient/Foundation/DecimalText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::size_t kMessageIdSegment = 4;
constexpr std::size_t kFieldCount = 3;

/// The number at the front of the text, 0 when there is none: how the service's own clients read it.
double leadingNumber(std::string_view text) {
    const double number = readLeadingDecimal(text).number;
    return std::isfinite(number) ? number : 0;
}

}  // namespace

std::optional<DeliveryMessage> DeliveryMessage::fromPublication(std::string_view payload,
                                                                std::string_view topic) {
    if (!isValidUTF8(payload)) {
        return std::nullopt;
    }
    const auto fields = splitString(payload, "-:-");
    const auto segments = splitString(topic, "/");
    if (fields.size() != kFieldCount || segments.size() <= kMessageIdSegment) {
        return std::nullopt;
    }
    return DeliveryMessage{std::string(segments[kMessageIdSegment]), std::string(fields[0]),
                           std::string(fields[1]), dateFromMillisecondsSince1970(leadingNumber(fields[2]))};
}

}  // namespace xel
