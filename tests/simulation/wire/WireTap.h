#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/ByteStream.h"
#include "tests/simulation/Fact.h"

namespace xel::simulation {

/// Makes streams that carry everything on to those of another factory, and tells which packets pass: those
/// of the broker before the client has them, those of the client when it writes them.
///
/// Thread: the run loop of its streams.
class WireTap final : public ByteStreamFactory {
public:
    using Tell = std::function<void(Fact fact)>;

    WireTap(std::shared_ptr<ByteStreamFactory> streams, Tell tell);

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override;

private:
    class Stream;

    std::shared_ptr<ByteStreamFactory> streams_;
    Tell tell_;
    std::int64_t lastNumber_ = 0;
};

}  // namespace xel::simulation
