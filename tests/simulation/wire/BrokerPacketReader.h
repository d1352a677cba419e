#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "tests/simulation/Fact.h"

namespace xel::simulation {

/// Reads the broker's side of a connection on its way to the client, by itself: nothing of it is the
/// library's.
///
/// What is no packet of MQTT 3.1.1 ends the reading: a client that obeys takes nothing of what follows.
class BrokerPacketReader {
public:
    void feed(std::string_view octets);
    [[nodiscard]] std::optional<PacketFact> next();

private:
    [[nodiscard]] bool readOne();
    [[nodiscard]] static std::optional<PacketFact> read(unsigned char first, std::string_view body);

    std::string buffer_;
    std::deque<PacketFact> packets_;
    bool isOver_ = false;
};

}  // namespace xel::simulation
