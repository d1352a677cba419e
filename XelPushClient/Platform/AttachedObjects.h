#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace xel {

/// Objects that are attached to something until they go, in the order in which they were attached last. A
/// machine has two for each of its clients, of which there may be ten thousand. Thread: the owner's.
template <class Object>
class AttachedObjects {
public:
    /// One that is attached already comes last.
    void attach(const std::shared_ptr<Object>& object) {
        const auto [known, isNew] = places_.try_emplace(object, nextPlace_);
        if (!isNew) {
            order_.erase(known->second);
            known->second = nextPlace_;
        }
        order_.emplace(nextPlace_++, object);
        if (order_.size() >= sizeToSweepAt_) {
            dropThoseThatWent();
        }
    }

    /// Those that may still be there, apart from what is attached meanwhile.
    [[nodiscard]] std::vector<std::weak_ptr<Object>> list() const {
        std::vector<std::weak_ptr<Object>> all;
        all.reserve(order_.size());
        for (const auto& [place, object] : order_) {
            all.push_back(object);
        }
        return all;
    }

    [[nodiscard]] bool hasAny() const {
        return std::any_of(order_.begin(), order_.end(),
                           [](const auto& attached) { return !attached.second.expired(); });
    }

private:
    static constexpr std::size_t kFewest = 16;

    void dropThoseThatWent() {
        std::erase_if(order_, [](const auto& attached) { return attached.second.expired(); });
        std::erase_if(places_, [](const auto& attached) { return attached.first.expired(); });
        sizeToSweepAt_ = std::max(kFewest, 2 * order_.size());
    }

    std::map<std::uint64_t, std::weak_ptr<Object>> order_;
    std::map<std::weak_ptr<Object>, std::uint64_t, std::owner_less<>> places_;
    std::uint64_t nextPlace_ = 0;
    std::size_t sizeToSweepAt_ = kFewest;
};

}  // namespace xel
