#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Process/SerialWorker.h"
#include "XelPushClient/Linux/Stream/TLSEngine.h"

namespace xel {

/// What the TLS connections of a factory share.
struct AsioStreamTLS {
    explicit AsioStreamTLS(LinuxTLSOptions options)
        : context(std::make_shared<TLSContext>(std::move(options))) {}

    std::shared_ptr<TLSContext> context;
    /// Computes handshakes.
    SerialWorker worker{"xel-tls"};
};

/// The outcome of one step of a handshake.
struct HandshakeStep {
    TLSEngine::Progress progress = TLSEngine::Progress::NeedsMore;
    std::string toSend;
};

/// Computes one step on the worker and posts the outcome to the loop. The engine is the worker's until then.
inline void computeHandshakeStep(AsioStreamTLS& tls, std::shared_ptr<TLSEngine> engine, std::string received,
                                 std::weak_ptr<AsioLoopCore> loop, std::function<void(HandshakeStep)> done) {
    tls.worker.add([engine = std::move(engine), received = std::move(received), loop = std::move(loop),
                    done = std::move(done)]() mutable {
        HandshakeStep step;
        try {
            step.progress = engine->shakeHands(received, step.toSend);
        } catch (const std::exception&) {
            step.progress = TLSEngine::Progress::Failed;  // for want of memory: the connection is what fails
        }
        engine.reset();
        if (const auto core = loop.lock()) {
            core->post([done = std::move(done), step = std::move(step)] { done(step); });
        }
    });
}

}  // namespace xel
