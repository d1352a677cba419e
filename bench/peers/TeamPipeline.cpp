#include "bench/peers/TeamPipeline.h"

#include <chrono>
#include <string_view>

namespace xel::bench {

namespace {

std::string textOf(const rapidjson::Value& object, const char* key) {
    const auto found = object.FindMember(key);
    if (found == object.MemberEnd() || !found->value.IsString()) {
        return {};
    }
    return {found->value.GetString(), found->value.GetStringLength()};
}

std::optional<std::int64_t> millisecondsOf(const rapidjson::Value& object, const char* key) {
    const auto found = object.FindMember(key);
    if (found == object.MemberEnd() || !found->value.IsInt64()) {
        return std::nullopt;
    }
    return found->value.GetInt64();
}

std::int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

void TeamPipeline::handle(const char* topic, std::size_t topicBytes, const char* payload,
                          std::size_t payloadBytes) {
    rapidjson::Document document;
    document.Parse(payload, payloadBytes);
    if (document.HasParseError() || !document.IsObject()) {
        return;
    }
    const rapidjson::Value& root = document;
    TeamMessage message;
    message.id = textOf(root, "id");
    if (!message.id.empty() && !ids_.addNew(message.id)) {
        return;
    }
    message.expireTimeMs = millisecondsOf(root, "expireTime");
    if (message.expireTimeMs && *message.expireTimeMs < nowMs()) {
        return;
    }
    message.messageBody = textOf(root, "messageBody");
    message.senderId = textOf(root, "senderId");
    message.serverTimeMs = millisecondsOf(root, "serverTime").value_or(0);
    const std::string_view topicText(topic, topicBytes);
    message.channel = topicText.substr(topicText.rfind('/') + 1);
    const auto silent = root.FindMember("silent");
    message.silent = silent != root.MemberEnd() && silent->value.IsTrue();
    const auto data = root.FindMember("data");
    message.data = data != root.MemberEnd() && data->value.IsObject() ? &data->value : nullptr;
    callback_(message);
}

}  // namespace xel::bench
