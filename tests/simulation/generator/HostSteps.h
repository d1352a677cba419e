#pragma once

#include <string>

#include "tests/simulation/generator/Draw.h"
#include "tests/simulation/generator/PublicationSteps.h"

namespace xel::simulation {

// What a host does beside publishing, one line each.

[[nodiscard]] std::string subscribing(Draw& draw);
[[nodiscard]] std::string unsubscribing(Draw& draw);
[[nodiscard]] std::string setting(Draw& draw);
/// Something that begins or ends an identity, a connection or the client.
[[nodiscard]] std::string identity(Draw& draw, const std::string& user);
/// Something inside a callback.
[[nodiscard]] std::string inside(Draw& draw, const std::string& user, PublicationSteps& publications);
/// What the application, its user and the clock do.
[[nodiscard]] std::string outside(Draw& draw);

}  // namespace xel::simulation
