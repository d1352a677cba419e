#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "XelPushClient/Linux/Stream/OpeningTurns.h"
#include "XelPushClient/Platform/ByteStream.h"

namespace xel {

/// Another factory's streams, which open no faster than the pace allows: one whose turn has not come
/// begins to open when it has. Each run loop has a pace of its own. Streams may outlive their factory.
/// Thread: as the port says.
class PacedByteStreamFactory final : public ByteStreamFactory {
public:
    PacedByteStreamFactory(std::shared_ptr<ByteStreamFactory> streams, std::shared_ptr<const Clock> clock,
                           LinuxConnectionPace pace, OpeningTurns::Random random = makeRandom());

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override;

private:
    [[nodiscard]] static OpeningTurns::Random makeRandom();
    [[nodiscard]] std::shared_ptr<OpeningTurns> turnsOf(NSRunLoop& runLoop);

    const std::shared_ptr<ByteStreamFactory> streams_;
    const std::shared_ptr<const Clock> clock_;
    const LinuxConnectionPace pace_;
    const OpeningTurns::Random random_;
    std::mutex mutex_;
    /// Kept by the streams: without any the pace has nothing to remember.
    std::map<NSRunLoop*, std::weak_ptr<OpeningTurns>> turns_;
};

}  // namespace xel
