#pragma once

#include "tests/simulation/invariants/Invariant.h"

namespace xel::simulation {

/// A host hears nothing of a client that is no more.
class SilenceAfterTheEnd final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "no callback after destruction"; }
    void take(const Fact& fact) override;
};

/// Timers, requests and what is remembered stay within bounds.
class Bounds final : public Invariant {
public:
    [[nodiscard]] std::string_view name() const override { return "bounded memory, timers and requests"; }
    void take(const Fact& fact) override;
};

}  // namespace xel::simulation
