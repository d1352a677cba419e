#include "sandbox/relay/ClientIdentity.h"

#include <algorithm>
#include <vector>

#include "sandbox/relay/Topics.h"

namespace xel::sandbox {

std::optional<ClientIdentity> parseClientId(std::string_view clientId) {
    const std::vector<std::string_view> parts = splitTopic(clientId);
    if (parts.size() != 3 || !std::all_of(parts.begin(), parts.end(), isTopicSegment)) {
        return std::nullopt;
    }
    return ClientIdentity{std::string(parts[0]), std::string(parts[1]), std::string(parts[2])};
}

}  // namespace xel::sandbox
