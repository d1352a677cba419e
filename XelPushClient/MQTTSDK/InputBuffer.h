#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace xel {

/// What was received and not taken yet.
///
/// A read is only borrowed while it is being worked on; `keep` copies what is left of it. Memory grows with
/// what arrived, never with what a packet announces.
class InputBuffer {
public:
    /// Adds what a read brought. The octets must stay where they are until `keep`.
    void offer(std::string_view octets) {
        if (unread_.empty()) {
            unread_ = octets;
            isBorrowed_ = true;
            return;
        }
        keep();
        kept_.erase(0, kept_.size() - unread_.size());
        kept_.append(octets);
        unread_ = kept_;
    }

    /// The octets not taken yet; packets are taken off its front, or put back.
    [[nodiscard]] std::string_view& unread() { return unread_; }

    /// Call before the octets of the last `offer` go away. When there is no memory to keep what is left of
    /// them, it is lost.
    void keep() {
        if (std::exchange(isBorrowed_, false) && !unread_.empty()) {
            const std::string_view borrowed = std::exchange(unread_, {});
            kept_.assign(borrowed);
            unread_ = kept_;
        }
        if (unread_.empty()) {
            unread_ = {};
            kept_.clear();
            if (kept_.capacity() > kKeptSize) {
                kept_ = std::string();
            }
        }
    }

private:
    // What a waiting connection may keep; a buffer that a large packet needed is given back.
    static constexpr std::size_t kKeptSize = std::size_t{4} * 1024;

    std::string kept_;
    std::string_view unread_;
    bool isBorrowed_ = false;
};

}  // namespace xel
