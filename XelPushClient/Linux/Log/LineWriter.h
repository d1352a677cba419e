#pragma once

#include <mutex>
#include <string_view>

namespace xel {

/// Writes lines to a file descriptor, which it does not own: each at one place, and never waiting for long.
///
/// A reader that has stopped reading costs a second once. From then on lines are lost until it reads again,
/// and the end of a line that was cut off there is marked by a line feed. From any thread; never throws.
class LineWriter {
public:
    explicit LineWriter(int descriptor) : descriptor_(descriptor) {}
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    /// The line comes with its line feed.
    void write(std::string_view line);

private:
    /// What could not be written.
    [[nodiscard]] std::string_view writeWhatFits(std::string_view text) const;

    const int descriptor_;
    std::mutex mutex_;
    bool isStalled_ = false;
    bool isLineCut_ = false;
};

}  // namespace xel
