#pragma once

#include <ctime>
#include <string>

namespace xel::sandbox {

/// The time as HTTP's "Date" field has it (RFC 9110, section 5.6.7), whatever the process's locale is.
std::string formatHttpDate(std::time_t time);

}  // namespace xel::sandbox
