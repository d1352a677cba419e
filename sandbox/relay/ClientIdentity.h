#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// Who a broker client says it is: the three parts of its client id "{app}/{user}/{device}".
///
/// All clients of an application share one broker user name and password, so the client id is the only thing
/// that tells one user from another; the broker knows no better.
struct ClientIdentity {
    std::string app;
    std::string user;
    std::string device;
};

/// The identity that a client id spells, or nothing unless it has exactly three parts that can each stand in
/// a topic (not empty, no wildcard).
std::optional<ClientIdentity> parseClientId(std::string_view clientId);

}  // namespace xel::sandbox
