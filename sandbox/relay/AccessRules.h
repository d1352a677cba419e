#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// The largest payload that the service takes, in bytes. Clients refuse packets above 1 MiB; the rest is room
/// for what the relay adds.
inline constexpr std::size_t kLargestPayload = 1000000;

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

/// Whether the client may read `topicOrFilter`, which is a topic or a subscription's filter: the topics of
/// its own user, the public ones, its own user's delivery reports and its application's events.
/// A filter with a wildcard where one of these rules needs a name is refused: it asks for more.
bool mayRead(const ClientIdentity& client, std::string_view topicOrFilter);

/// Whether the client may publish on `topic`: a publish topic of its application (any recipient), an event
/// under its own device id, or a receipt (event "seen" or "dismiss") for a message.
bool mayPublish(const ClientIdentity& client, std::string_view topic);

}  // namespace xel::sandbox
