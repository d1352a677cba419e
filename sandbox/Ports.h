#pragma once

#include <cstdint>
#include <string>

namespace xel::sandbox {

/// Throws SandboxError unless `address` is a numeric address of the loopback interface.
void requireLoopback(const std::string& address);

/// The port to listen on: `wanted` when it is free, or a free one of the system's choice when `wanted` is 0.
/// Throws PortTakenError, naming the port and its `purpose`, when another program has it, SandboxError when
/// this user may not have it. Nothing reserves the port afterwards.
std::uint16_t claimPort(const std::string& address, std::uint16_t wanted, const std::string& purpose);

/// The text of PortTakenError.
std::string portTakenText(const std::string& address, std::uint16_t port, const std::string& purpose);

}  // namespace xel::sandbox
