#pragma once

#include <string>

#include "tools/Finding.h"

namespace xel::tools {

/// Looks at the folder and the store of a client: can it be opened, and can nobody else read it? Leaves both
/// as they are; a folder that is not there is not made. Blocks.
[[nodiscard]] Findings probeStore(const std::string& folder);

}  // namespace xel::tools
