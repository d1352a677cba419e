#pragma once

#include <string>
#include <vector>

#include "XelPushClient/Testing/Simulation/Fault.h"
#include "tests/simulation/generator/Draw.h"

namespace xel::simulation {

/// What fails in one run: some of the kinds that there are, so that each of them is often met without the
/// others, too.
class FaultSteps {
public:
    /// What fails at the backend is arranged request by request, unless it is one that answers by itself.
    FaultSteps(Draw& draw, bool hasBackend);

    /// One of them: a line, and where the line does not say itself how long it lasts, perhaps those that end
    /// it.
    [[nodiscard]] std::vector<std::string> next();

private:
    [[nodiscard]] std::string faultOf(const FaultForm& form);
    [[nodiscard]] std::int64_t amountFor(const FaultForm& form);

    Draw& draw_;
    bool hasBackend_;
    std::vector<FaultForm> forms_;
};

/// "broker cuts reads to ...".
[[nodiscard]] std::string readSize(Draw& draw);

}  // namespace xel::simulation
