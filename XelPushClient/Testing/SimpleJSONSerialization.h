#pragma once

#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

/// A JSON reader on the standard library alone, for tests and for platforms that bring none. Strict, not
/// fast.
///
/// A number outside the range of a double is an error.
/// Thread: from any thread.
class SimpleJSONSerialization final : public NSJSONSerialization {
public:
    [[nodiscard]] Result<Value> JSONObjectWithData(std::string_view data) override;
};

}  // namespace xel
