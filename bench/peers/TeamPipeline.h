#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <rapidjson/document.h>

#include "bench/peers/IdLog.h"

namespace xel::bench {

/// A push message as a team would model it. `data` lives as long as the callback.
struct TeamMessage {
    std::string id;
    std::string messageBody;
    std::string senderId;
    std::string channel;
    std::int64_t serverTimeMs = 0;
    std::optional<std::int64_t> expireTimeMs;
    bool silent = false;
    const rapidjson::Value* data = nullptr;
};

/// What a team writes around an MQTT library to get the same service: RapidJSON for the payload, the
/// list of ids against duplicates, the expiry test, and the application's callback. Not bound to a
/// thread, but used by one at a time.
class TeamPipeline {
public:
    using Callback = std::function<void(const TeamMessage&)>;

    /// The list outlives the pipeline.
    TeamPipeline(IdLog& ids, Callback callback) : ids_(ids), callback_(std::move(callback)) {}

    void handle(const char* topic, std::size_t topicBytes, const char* payload, std::size_t payloadBytes);

private:
    IdLog& ids_;
    Callback callback_;
};

}  // namespace xel::bench
