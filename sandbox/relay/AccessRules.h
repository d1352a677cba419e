#pragma once

#include <string_view>

namespace xel::sandbox {

struct ClientIdentity;

/// Whether the client may read `topicOrFilter`, which is a topic or a subscription's filter: the topics of
/// its own user, the public ones, its own user's delivery reports and its application's events.
/// A filter with a wildcard where one of these rules needs a name is refused: it asks for more.
bool mayRead(const ClientIdentity& client, std::string_view topicOrFilter);

/// Whether the client may publish on `topic`: a publish topic of its application (any recipient), an event
/// under its own device id, or a receipt (event "seen" or "dismiss") for a message.
bool mayPublish(const ClientIdentity& client, std::string_view topic);

}  // namespace xel::sandbox
