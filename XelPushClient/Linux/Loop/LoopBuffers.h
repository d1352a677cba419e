#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
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

    /// An empty text, mostly with the room that one before it needed, for what is gathered in a pass.
    [[nodiscard]] std::string takeText() {
        return textCount_ > 0 ? std::move(texts_[--textCount_]) : std::string();
    }
    /// Takes one back, whatever it holds. A few are kept, unless they grew large.
    void giveText(std::string text) noexcept {
        const bool isWorthIt = text.capacity() >= 64 && text.capacity() <= kLargestKeptText;
        if (isWorthIt && textCount_ < texts_.size()) {
            text.clear();
            texts_[textCount_++] = std::move(text);
        }
    }

private:
    static constexpr std::size_t kLargestKeptText = std::size_t{256} * 1024;

    std::unique_ptr<char[]> block_;
    std::array<std::string, 4> texts_;
    std::size_t textCount_ = 0;
};

}  // namespace xel
