#pragma once

#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// Reads JSON documents (RFC 8259).
///
/// Contract: strict UTF-8, one document and nothing behind it, at most 64 levels of nesting; whatever breaks
/// a rule is an error, never an exception and never a half-read value. Integers that fit 64 bits with sign
/// come as integers, other numbers as doubles; a key that is given twice keeps the last value. Every kind of
/// value may stand at the top. Thread: the machine's run loop.
class NSJSONSerialization {
public:
    virtual ~NSJSONSerialization() = default;

    [[nodiscard]] virtual Result<Value> JSONObjectWithData(std::string_view data) = 0;
};

}  // namespace xel
