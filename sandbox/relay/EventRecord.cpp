#include "sandbox/relay/EventRecord.h"

#include "sandbox/relay/Json.h"
#include "sandbox/relay/Topics.h"

namespace xel::sandbox {
namespace {

std::optional<std::string> idOf(std::string_view payload) {
    const std::optional<Json> data = parseJsonObject(payload);
    if (!data) {
        return std::nullopt;
    }
    if (const auto id = data->find("id"); id != data->end() && id->is_number()) {
        return id->dump();
    }
    return findText(*data, "id");
}

std::string timeOf(std::string_view payload) {
    const std::optional<Json> data = parseJsonObject(payload);
    return data ? findText(*data, "ts").value_or("") : std::string();
}

}  // namespace

std::optional<EventRecord> readEvent(std::string_view app, std::string_view topic, std::string_view payload,
                                     const Publisher& publisher) {
    const std::optional<EventTopic> parts = parseEventTopic(app, topic);
    if (!parts || isReceiptName(parts->name)) {
        return std::nullopt;
    }
    return EventRecord{idOf(payload), parts->name, parts->device, publisher.user, std::string(payload)};
}

std::optional<ReceiptRecord> readReceipt(std::string_view app, std::string_view topic,
                                         std::string_view payload, const Publisher& publisher) {
    const std::optional<EventTopic> parts = parseEventTopic(app, topic);
    if (!parts || !isReceiptName(parts->name)) {
        return std::nullopt;
    }
    return ReceiptRecord{parts->name, parts->device, publisher.user, publisher.device, timeOf(payload)};
}

}  // namespace xel::sandbox
