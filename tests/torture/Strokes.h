#pragma once

#include <atomic>
#include <cstddef>

namespace xel::torture {

/// How often what fails goes on failing.
enum class Span {
    Once,    ///< the one stroke
    ForGood  ///< that one and all that follow, until healed
};

/// Counts what could fail and says what does: from the n-th on, once or for good.
/// Thread: any.
class Strokes {
public:
    /// The first is number 1.
    void begin(std::size_t first, Span span) {
        first_ = first;
        span_ = span;
        count_ = 0;
        hasFallen_ = false;
        isArmed_ = true;
    }
    /// Counts only.
    void beginWithout() { begin(0, Span::Once); }
    /// Nothing fails any more, and nothing is counted.
    void heal() { isArmed_ = false; }

    /// What could fail is about to happen. Whether it fails.
    [[nodiscard]] bool falls() {
        if (!isArmed_) {
            return false;
        }
        const std::size_t number = ++count_;
        const bool isMeant = first_ != 0 && (span_ == Span::Once ? number == first_ : number >= first_);
        hasFallen_ = hasFallen_ || isMeant;
        return isMeant;
    }

    [[nodiscard]] std::size_t count() const { return count_; }
    [[nodiscard]] bool hasFallen() const { return hasFallen_; }

private:
    std::atomic<bool> isArmed_ = false;
    std::atomic<bool> hasFallen_ = false;
    std::atomic<std::size_t> count_ = 0;
    std::atomic<std::size_t> first_ = 0;
    std::atomic<Span> span_ = Span::Once;
};

}  // namespace xel::torture
