#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/ForwardingSessionMemory.h"

namespace xel {

/// The client ids of a user, "appId/userId/" and an installation id, of which the memory has something.
[[nodiscard]] std::vector<std::string> rememberedClientIds(SessionMemory& memory, std::string_view user);

/// Moves the outbox of a client id that is used no more behind that of another one, in its order, and forgets
/// the former. An identifier that is taken there is replaced; while all are taken, the rest stays where it
/// is. An error when something could not be read or stored: it is still there for another call. A process
/// that ends in between leaves nothing out, and at most one publication twice.
Result<void> inheritOutbox(SessionMemory& memory, std::string_view former, std::string_view heir);

/// What a client's session remembers. The backend may give a user's device another installation id, and with
/// it the client id is another: what was promised to be sent under a former one is in the outbox of the
/// present one. While it cannot be moved there, that outbox cannot be loaded.
///
/// Client ids are "appId/userId/installationId". Thread: the memory's.
class InheritingSessionMemory final : public ForwardingSessionMemory {
public:
    using ForwardingSessionMemory::ForwardingSessionMemory;

    Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
};

}  // namespace xel
