#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <rapidjson/document.h>

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

/// What a team writes around an MQTT library to get the same service: RapidJSON for the payload, an SQLite
/// table (WAL, synchronous NORMAL, exclusive locking, prepared statements) of the ids seen last against
/// duplicates, the expiry test, and the application's callback. One transaction a message, because the
/// library has acknowledged the message already, or does so next. Not bound to a thread, but used by one at a
/// time.
class TeamPipeline {
public:
    using Callback = std::function<void(const TeamMessage&)>;

    /// Makes `folder`/peer.sqlite. Throws std::runtime_error with SQLite's own text.
    TeamPipeline(const std::string& folder, Callback callback);
    ~TeamPipeline();
    TeamPipeline(const TeamPipeline&) = delete;
    TeamPipeline& operator=(const TeamPipeline&) = delete;

    void handle(const char* topic, std::size_t topicBytes, const char* payload, std::size_t payloadBytes);

private:
    class SeenIds;

    std::unique_ptr<SeenIds> seen_;
    Callback callback_;
};

}  // namespace xel::bench
