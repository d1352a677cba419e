#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// The contents of a journal's file as they were read.
class JournalImage {
public:
    /// What of a run cannot be read.
    struct Loss {
        std::size_t octets = 0;
        /// In pieces with records behind them: the file is damaged, or a power cut has holed it.
        std::size_t holes = 0;
    };

    /// Reads the file; a missing one holds nothing.
    [[nodiscard]] static Result<JournalImage> read(const std::string& path);
    /// The same of a file's octets.
    [[nodiscard]] static JournalImage of(std::string octets);

    /// Which run of its journal the file holds; 0 for none, as in one that a kill left while it was begun.
    [[nodiscard]] std::uint64_t run() const { return run_; }
    /// The store whose journal it is.
    [[nodiscard]] std::uint64_t store() const { return store_; }
    /// Whether there is something in the file, and no run of a journal's.
    [[nodiscard]] bool isUnknown() const { return run_ == 0 && !octets_.empty(); }

    /// Passes the contents of each record on, in their order: views into this. A record that a kill has cut
    /// short ends them, and is no loss: nobody was told that it was written.
    Loss forEachRecord(const std::function<void(std::string_view)>& take) const;

private:
    [[nodiscard]] std::optional<std::string_view> recordAt(std::size_t at) const;
    [[nodiscard]] std::optional<std::size_t> findRecordBehind(std::size_t at) const;

    std::string octets_;
    std::uint64_t run_ = 0;
    std::uint64_t salt_ = 0;
    std::uint64_t store_ = 0;
};

}  // namespace xel
