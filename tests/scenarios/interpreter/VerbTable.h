#pragma once

#include <map>
#include <string>

#include "tests/scenarios/interpreter/ScenarioWorld.h"

namespace xel::scenario {

/// Verbs by their word.
using VerbTable = std::map<std::string, Verb, std::less<>>;

/// Takes the next word and carries its verb out. Throws when the table has none; `what` says what was wanted.
void performFrom(const VerbTable& table, ScenarioWorld& world, Words& words, std::string_view what);

// The host's verbs, by area.
[[nodiscard]] const VerbTable& hostIdentityVerbs();
[[nodiscard]] const VerbTable& hostConnectionVerbs();
[[nodiscard]] const VerbTable& hostCallbackVerbs();
[[nodiscard]] const VerbTable& hostPublishingVerbs();
[[nodiscard]] const VerbTable& hostRequestVerbs();
[[nodiscard]] const VerbTable& hostNotificationVerbs();

[[nodiscard]] const VerbTable& hostLocationVerbs();

/// What "expect" knows beside the journals.
[[nodiscard]] const VerbTable& stateExpectations();
[[nodiscard]] const VerbTable& notificationExpectations();

/// The error that a step file calls by that word, such as "timed-out".
[[nodiscard]] NSURLErrorCode errorCodeNamed(const std::string& name);

}  // namespace xel::scenario
