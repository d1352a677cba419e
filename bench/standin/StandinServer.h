#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "bench/common/Channel.h"
#include "bench/common/OwnedDescriptor.h"
#include "bench/standin/Blast.h"
#include "bench/standin/Sink.h"

namespace xel::bench {

struct PacketView;

/// The certificate and the key (PEM files) by which the stand-in speaks TLS.
struct StandinTLS {
    std::string certificate;
    std::string key;
};

/// The broker that a subject talks to: one client, MQTT 3.1.1, on the loopback only, plainly or by TLS.
/// It grants every subscription; the first one starts the blast. It has one thread and ends when its
/// client has gone.
///
/// It never sleeps on the client's socket, but looks at it at every tick: on the loopback, waking a
/// sleeping reader is work of the writer, several microseconds of it, and would be counted as the
/// subject's.
class StandinServer {
public:
    /// Exactly one of the first two is given.
    StandinServer(std::optional<Blast> blast, std::optional<Sink> sink, std::optional<StandinTLS> tls);

    /// Binds to 127.0.0.1; port 0 takes a free one. Answers the port.
    std::uint16_t listen(std::uint16_t port);

    /// Serves the one client until it disconnects or closes. Throws std::runtime_error for a client that
    /// does not keep to the protocol, and when none comes within `patienceSeconds`.
    void serve(int patienceSeconds);

    const std::optional<Blast>& blast() const { return blast_; }
    const std::optional<Sink>& sink() const { return sink_; }

private:
    enum class Reading { Nothing, Some, Closed };

    std::unique_ptr<Channel> makeChannel(int client) const;
    Reading readSome(Channel& client);
    bool writeSome(Channel& client);
    std::chrono::nanoseconds pauseBefore(Blast::Clock::time_point now) const;
    void handle(const PacketView& packet);
    void answerSubscribe(std::string_view body);
    bool wantsToWrite();

    std::optional<Blast> blast_;
    std::optional<Sink> sink_;
    std::optional<StandinTLS> tls_;
    OwnedDescriptor listener_;
    std::array<char, 65536> piece_{};  ///< what a read fills, before it is appended to `incoming_`
    std::string incoming_;
    std::string control_;     // answers, sent between two publications
    std::string_view chunk_;  // what is left of the publications being written
    std::size_t controlSent_ = 0;
    bool disconnected_ = false;
};

}  // namespace xel::bench
