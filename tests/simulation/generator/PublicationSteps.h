#pragma once

#include <string>

#include "tests/simulation/generator/Draw.h"

namespace xel::simulation {

/// Publications in both directions, each with a mark of its own.
class PublicationSteps {
public:
    explicit PublicationSteps(Draw& draw) : draw_(draw) {}

    [[nodiscard]] std::string fromBroker(const std::string& user);
    [[nodiscard]] std::string fromHost();
    /// So many with ids that they take more than one turn, if the broker lets them.
    [[nodiscard]] std::string turns(const std::string& user);

private:
    [[nodiscard]] std::string payload(const std::string& mark);
    [[nodiscard]] std::string nextMark(const std::string& direction);

    Draw& draw_;
    int last_ = 0;
};

}  // namespace xel::simulation
