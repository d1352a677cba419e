#include "XelPushClient/Platform/TopicTable.h"

#include <new>

#include "XelPushClient/Foundation/TextIndex.h"

namespace xel {

struct TopicTable::Index {
    explicit Index(const std::vector<Entry>& entries) : isGap(entries.size(), false) {
        positions.reserve(entries.size());
        for (std::size_t i = 0; i < entries.size(); ++i) {
            positions.add(entries[i].first, i);
        }
    }

    TextIndex positions;  // those of removed topics too
    std::vector<bool> isGap;
    std::size_t gapCount = 0;
};

TopicTable::TopicTable() = default;
TopicTable::~TopicTable() = default;
TopicTable::TopicTable(TopicTable&& other) noexcept = default;
TopicTable& TopicTable::operator=(TopicTable&& other) noexcept = default;

TopicTable::TopicTable(std::initializer_list<Entry> entries) {
    for (const auto& [topic, qos] : entries) {
        set(topic, qos);
    }
}

// The index stays behind: a copy makes its own once it is searched.
TopicTable::TopicTable(const TopicTable& other) : entries_(other.entries()) {}

TopicTable& TopicTable::operator=(const TopicTable& other) {
    if (this != &other) {
        *this = TopicTable(other);
    }
    return *this;
}

void TopicTable::set(std::string_view topic, int qos) {
    if (const auto at = position(topic)) {
        entries_[*at].second = qos;
        return;
    }
    if (index_) {
        // All that may fail comes before anything has changed.
        index_->positions.reserve(entries_.size() + 1);
        index_->isGap.resize(entries_.size() + 1, false);
    }
    entries_.emplace_back(topic, qos);
    if (index_) {
        index_->positions.add(entries_.back().first, entries_.size() - 1);
    }
}

void TopicTable::remove(std::string_view topic) {
    const auto at = position(topic);
    if (!at) {
        return;
    }
    if (index_) {
        index_->isGap[*at] = true;
        ++index_->gapCount;
    } else {
        entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(*at));
    }
}

std::optional<int> TopicTable::qosOf(std::string_view topic) const {
    const auto at = position(topic);
    return at ? std::optional(entries_[*at].second) : std::nullopt;
}

std::size_t TopicTable::size() const {
    return entries_.size() - (index_ ? index_->gapCount : 0);
}

void TopicTable::clear() {
    index_.reset();
    entries_.clear();
}

std::optional<std::size_t> TopicTable::position(std::string_view topic) const {
    if (index_ || (entries_.size() > TextIndex::kLargestSearchedLinearly && makeIndex())) {
        return index_->positions.find(
            topic, [&](std::size_t at) { return !index_->isGap[at] && entries_[at].first == topic; });
    }
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].first == topic) {
            return i;
        }
    }
    return std::nullopt;
}

// Without memory for it a search takes longer, and does not fail.
bool TopicTable::makeIndex() const {
    try {
        index_ = std::make_unique<Index>(entries_);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

const std::vector<TopicTable::Entry>& TopicTable::entries() const {
    if (index_ && index_->gapCount != 0) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (!index_->isGap[i]) {
                std::swap(entries_[kept++], entries_[i]);
            }
        }
        entries_.resize(kept);
        // What stood behind a gap has moved.
        index_.reset();
    }
    return entries_;
}

}  // namespace xel
