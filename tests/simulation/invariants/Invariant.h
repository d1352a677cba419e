#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/simulation/Fact.h"

namespace xel::simulation {

/// One promise of the client's, judged by what happens in a run: it takes every fact in order and says the
/// first by which the promise was broken. It asks nobody, so that a made-up history can break it in a test.
class Invariant {
public:
    virtual ~Invariant() = default;

    /// What is promised, in a few words.
    [[nodiscard]] virtual std::string_view name() const = 0;
    virtual void take(const Fact& fact) = 0;
    [[nodiscard]] const std::optional<std::string>& breach() const { return breach_; }

protected:
    /// Of several breaches the first counts.
    void breaks(std::string how) {
        if (!breach_) {
            breach_ = std::move(how);
        }
    }

private:
    std::optional<std::string> breach_;
};

/// All of them.
[[nodiscard]] std::vector<std::unique_ptr<Invariant>> makeInvariants();

}  // namespace xel::simulation
