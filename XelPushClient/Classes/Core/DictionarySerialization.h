#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

// The JSON that the client sends: pretty-printed (`JSONLayout::Pretty`), UTF-8.

/// The dictionary as JSON octets; the name is kept although it goes the other way. Nothing for a missing
/// dictionary, and, after a log line, for one that JSON cannot carry (`isPrintableAsJSON`): numbers that are
/// not finite, texts that are not UTF-8, dates, octets, more than 64 levels.
[[nodiscard]] std::optional<std::string> serializeToDict(const std::optional<Dictionary>& dictionary,
                                                         const LogOutput& log);
[[nodiscard]] std::optional<std::string> serializeToDict(const Dictionary& dictionary, const LogOutput& log);

/// The same as a text: nothing for a missing dictionary, an empty text for one that JSON cannot carry.
[[nodiscard]] std::optional<std::string> toJsonString(const std::optional<Dictionary>& dictionary,
                                                      const LogOutput& log);

}  // namespace xel
