#pragma once

#include <optional>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// Takes an answer's body piece by piece, in place of memory: of an answer with a status of 200 to 299 only.
/// Thread: the worker's.
class CurlBodySink {
public:
    virtual ~CurlBodySink() = default;

    /// False when the octets cannot be kept, which ends the transfer.
    [[nodiscard]] virtual bool take(std::string_view octets) = 0;
    /// The body is complete. False when it could not be kept.
    [[nodiscard]] virtual bool finish() = 0;
    /// Why it could not.
    [[nodiscard]] virtual std::optional<NSError> failure() const = 0;
};

}  // namespace xel
