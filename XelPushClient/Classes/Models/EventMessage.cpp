#include "XelPushClient/Classes/Models/EventMessage.h"

#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {
namespace {

std::optional<std::string> idOf(const std::optional<Dictionary>& data) {
    const Value* id = data ? data->find("id") : nullptr;
    if (id == nullptr) {
        return std::nullopt;
    }
    if (id->isInteger() || id->isDouble()) {
        return describeValue(*id);
    }
    return id->isString() ? std::optional(*id->asString()) : std::nullopt;
}

}  // namespace

EventMessage::EventMessage(std::string name, std::string device, std::optional<Dictionary> payload)
    // The id is the first member, so it is read before the payload is moved away.
    : id(idOf(payload)), eventName(std::move(name)), deviceId(std::move(device)), data(std::move(payload)) {}

}  // namespace xel
