#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "bench/common/SubjectRun.h"

namespace xel::bench {

/// What the floors do with what arrives.
struct BareClientHandlers {
    /// One publication. Behind the payload 64 octets more may be read, whatever they are.
    std::function<void(std::string_view topic, std::string_view payload)> message;
    /// All that one read has brought has been handled, and is about to be acknowledged.
    std::function<void()> endOfTurn;
};

/// The least that a client can do: a socket read in pieces of 64 KiB, the acknowledgements of a piece
/// written together. Connects, subscribes, and runs until the tally of the subject is full or the
/// connection closed. Throws std::system_error and std::runtime_error.
void receiveBare(const SubjectOptions& subject, const SubjectTally& tally,
                 const BareClientHandlers& handlers);

}  // namespace xel::bench
