#pragma once

#include "tests/torture/Strokes.h"

namespace xel::torture {

/// What falls on allocations by `operator new`: only on those of the client, so between `InClient` and
/// `OutsideClient`. In a program that links Memory.cpp.
[[nodiscard]] Strokes& memoryStrokes();

/// Counts like an allocation; throws `std::bad_alloc` when it is its turn. For a port that a real machine
/// could let fail for want of memory.
void needMemory();

/// While it lives, this thread is in the client: the host has called it, or the machine.
class InClient {
public:
    InClient();
    InClient(const InClient&) = delete;
    InClient& operator=(const InClient&) = delete;
    ~InClient();

private:
    bool wasInClient_;
};

/// While it lives, this thread is in the host or the machine, for which there is always memory.
class OutsideClient {
public:
    OutsideClient();
    OutsideClient(const OutsideClient&) = delete;
    OutsideClient& operator=(const OutsideClient&) = delete;
    ~OutsideClient();

private:
    bool wasInClient_;
};

}  // namespace xel::torture
