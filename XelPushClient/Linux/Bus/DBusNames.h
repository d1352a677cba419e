#pragma once

#include <string>
#include <string_view>

namespace xel {

/// The interface under which D-Bus objects show their properties.
inline constexpr const char* kDBusProperties = "org.freedesktop.DBus.Properties";

/// The match rule for the bus's report that `name` has another owner, or none.
inline std::string dbusOwnerChangesOf(std::string_view name) {
    return "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
           "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
           std::string(name) + "'";
}

}  // namespace xel
