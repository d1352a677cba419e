#pragma once

#include <string>
#include <vector>

#include "tools/doctor/Finding.h"

namespace xel::tools {

/// Looks at the folder and the store of a client: can it be opened, and can nobody else read it? Leaves both
/// as they are; a folder that is not there is not made. Blocks.
[[nodiscard]] Findings probeStore(const std::string& folder);

/// The topics of the channels that the client of a store keeps, once that was found to be well; none when it
/// cannot be read. Blocks.
[[nodiscard]] std::vector<std::string> keptTopics(const std::string& folder);

}  // namespace xel::tools
