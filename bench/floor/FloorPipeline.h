#pragma once

#include <string_view>

#include <simdjson.h>

#include "bench/common/SubjectRun.h"
#include "bench/peers/IdLog.h"

namespace xel::bench {

/// The least that can be made of a payload: its octets are read once, where they lie (simdjson), the id
/// is compared with the last ones, the expiry is looked at, and the callback gets views.
class FloorPipeline {
public:
    /// What must be readable behind each payload.
    static constexpr std::size_t kPadding = simdjson::SIMDJSON_PADDING;

    /// Both outlive the pipeline.
    FloorPipeline(IdLog& ids, SubjectTally& tally) : ids_(ids), tally_(tally) {}

    /// Throws simdjson::simdjson_error for what is no JSON object.
    void handle(std::string_view payload);

private:
    IdLog& ids_;
    SubjectTally& tally_;
    simdjson::ondemand::parser parser_;
    std::string id_;
};

}  // namespace xel::bench
