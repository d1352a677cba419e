#pragma once

#include <map>
#include <string>

#include <sdbus-c++/sdbus-c++.h>

namespace xel::test {

/// The named arguments and results of push interfaces (D-Bus type a{sv}).
using BusFields = std::map<std::string, sdbus::Variant>;

/// A field's text, "" when there is none.
inline std::string textOf(const BusFields& fields, const std::string& name) {
    const auto found = fields.find(name);
    return found == fields.end() ? std::string() : found->second.get<std::string>();
}

}  // namespace xel::test
