#pragma once

#include <chrono>
#include <functional>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Stream/AsioByteStream.h"
#include "tests/contract/Stream/PolledPeer.h"

namespace xel::contract {

/// A run loop and a peer that take turns on one thread.
class StreamOnLoopback {
public:
    explicit StreamOnLoopback(std::optional<PolledPeer::TLS> tls = std::nullopt) : peer_(std::move(tls)) {}

    AsioRunLoop& loop() { return loop_; }
    PolledPeer& peer() { return peer_; }

    bool runUntil(const std::function<bool()>& done,
                  std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!done() && std::chrono::steady_clock::now() < deadline) {
            peer_.poll();
            runFor(std::chrono::milliseconds(1));
            peer_.poll();
        }
        return done();
    }

    void runFor(std::chrono::milliseconds time) {
        loop_.scheduleTimer(time, [this] { loop_.stop(); });
        loop_.run();
    }

    /// Long enough for anything stray on a loopback to arrive.
    void runForAWhile() {
        runUntil([] { return false; }, std::chrono::milliseconds(60));
    }

    /// A name that is refused without asking anybody: its first label is too long (RFC 1035 section 2.3.4).
    [[nodiscard]] static std::string unknownHost() { return std::string(70, 'x') + ".invalid"; }

private:
    AsioRunLoop loop_;
    PolledPeer peer_;
};

}  // namespace xel::contract
