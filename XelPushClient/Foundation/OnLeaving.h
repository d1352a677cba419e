#pragma once

#include <type_traits>
#include <utility>

namespace xel {

/// Does something when its scope is left, on whatever way: `return`, the end, or an exception.
///
/// For what cannot fail, such as taking a mark off again. What may throw itself, as everything that reaches a
/// host does, goes through `doThenAlways`.
template <class Block>
class [[nodiscard]] OnLeaving {
public:
    explicit OnLeaving(Block block) : block_(std::move(block)) {}
    OnLeaving(const OnLeaving&) = delete;
    OnLeaving& operator=(const OnLeaving&) = delete;
    ~OnLeaving() { block_(); }

private:
    Block block_;
};

/// Holds a flag up until its scope is left.
[[nodiscard]] inline auto flagWhile(bool& flag) {
    flag = true;
    return OnLeaving([&flag] { flag = false; });
}

/// Does the work and then the rest, which is done also when the work throws; the exception travels on behind
/// it, unless the rest throws another one. The rest may take a `bool`: whether the work has come to its end.
template <class Work, class Rest>
void doThenAlways(Work&& work, Rest&& rest) {
    const auto finish = [&rest](bool isWorkDone) {
        if constexpr (std::is_invocable_v<Rest&, bool>) {
            rest(isWorkDone);
        } else {
            rest();
        }
    };
    try {
        std::forward<Work>(work)();
    } catch (...) {
        finish(false);
        throw;
    }
    finish(true);
}

}  // namespace xel
