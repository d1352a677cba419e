#pragma once

#include <string>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// Makes a new database of the sound one at that path, which has an older schema, and puts it in its place.
[[nodiscard]] Result<void> renewStore(const std::string& path);

}  // namespace xel
