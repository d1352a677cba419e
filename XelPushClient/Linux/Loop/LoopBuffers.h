#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <utility>

namespace xel {

/// Memory that whoever works on a loop borrows for as long as it works, so that hundreds of connections that
/// wait keep none. Thread: the loop's.
class LoopBuffers {
public:
    static constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

    /// A block of `kBlockSize` octets of any content, given back when dropped. Two that are held at once are
    /// two blocks.
    class Block {
    public:
        explicit Block(LoopBuffers& buffers) : buffers_(buffers), octets_(std::move(buffers.block_)) {
            if (!octets_) {
                octets_ = std::make_unique_for_overwrite<char[]>(kBlockSize);
            }
        }
        Block(const Block&) = delete;
        Block& operator=(const Block&) = delete;
        ~Block() { buffers_.block_ = std::move(octets_); }

        [[nodiscard]] std::span<char> octets() const { return {octets_.get(), kBlockSize}; }

    private:
        LoopBuffers& buffers_;
        std::unique_ptr<char[]> octets_;
    };

private:
    std::unique_ptr<char[]> block_;
};

}  // namespace xel
