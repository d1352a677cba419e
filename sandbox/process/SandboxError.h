#pragma once

#include <stdexcept>

namespace xel::sandbox {

/// Why the local push service cannot start, or had to end. The text is for the developer who started it: it
/// says what is wrong, with which value, and what to do.
class SandboxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A port that the service needs is used by another program.
class PortTakenError : public SandboxError {
public:
    using SandboxError::SandboxError;
};

}  // namespace xel::sandbox
