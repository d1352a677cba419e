#pragma once

#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

/// A JSON reader on the standard library alone, for tests and for platforms that bring none. Strict rather
/// than fast; a number outside the range of a double is an error. From any thread.
class SimpleJSONSerialization final : public NSJSONSerialization {
public:
    [[nodiscard]] Result<Value> JSONObjectWithData(std::string_view data) override;
};

}  // namespace xel
