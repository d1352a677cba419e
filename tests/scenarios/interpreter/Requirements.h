#pragma once

#include <string>

#include "tests/scenarios/interpreter/ScenarioParser.h"

namespace xel::scenario {

/// Throws `ScenarioFailure` with the text when it is not so.
inline void require(bool isSo, const std::string& what) {
    if (!isSo) {
        throw ScenarioFailure(what);
    }
}

inline void requireEqual(const std::string& actual, const std::string& wanted, const std::string& what) {
    require(actual == wanted, what + " is " + actual + ", not " + wanted);
}

}  // namespace xel::scenario
