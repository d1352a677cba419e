#include "bench/floor/FloorPipeline.h"

#include <chrono>

namespace xel::bench {

namespace {

void readData(simdjson::ondemand::object data, SeenFields& seen) {
    for (auto field : data) {
        const std::string_view key = field.unescaped_key();
        if (key == "orderId") {
            seen.orderId = field.value().get_int64();
        } else if (key == "state") {
            seen.state = field.value().get_string();
        }
    }
}

std::int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

void FloorPipeline::handle(std::string_view payload) {
    auto document = parser_.iterate(payload.data(), payload.size(), payload.size() + kPadding);
    SeenFields seen;
    std::int64_t expireTimeMs = 0;
    for (auto field : document.get_object()) {
        const std::string_view key = field.unescaped_key();
        if (key == "id") {
            seen.id = field.value().get_string();
        } else if (key == "messageBody") {
            seen.messageBody = field.value().get_string();
        } else if (key == "senderId") {
            seen.senderId = field.value().get_string();
        } else if (key == "serverTime") {
            seen.serverTimeMs = field.value().get_int64();
        } else if (key == "expireTime") {
            expireTimeMs = field.value().get_int64();
        } else if (key == "data") {
            readData(field.value().get_object(), seen);
        }
    }
    id_.assign(seen.id);
    if (!ids_.addNew(id_) || (expireTimeMs != 0 && expireTimeMs < nowMs())) {
        return;
    }
    tally_.add(seen);
}

}  // namespace xel::bench
