#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Stream/LinuxTLSOptions.h"

struct ssl_ctx_st;

namespace xel {

/// What all TLS connections share: the trust store and the rules. Read on first use, which takes a while: not
/// on a run loop. Thread: any.
class TLSContext {
public:
    explicit TLSContext(LinuxTLSOptions options);
    ~TLSContext();
    TLSContext(const TLSContext&) = delete;
    TLSContext& operator=(const TLSContext&) = delete;

    /// The context, or why the trust store cannot be used. A failure is tried again by the next call.
    [[nodiscard]] Result<ssl_ctx_st*> native();

private:
    struct Free {
        void operator()(ssl_ctx_st* context) const;
    };
    using Handle = std::unique_ptr<ssl_ctx_st, Free>;

    [[nodiscard]] Result<void> trust(ssl_ctx_st* context) const;

    LinuxTLSOptions options_;
    std::mutex mutex_;
    Handle handle_;
};

}  // namespace xel
