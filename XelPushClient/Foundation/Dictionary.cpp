#include "XelPushClient/Foundation/Dictionary.h"

#include <functional>
#include <tuple>
#include <unordered_map>

#include "XelPushClient/Foundation/Value.h"

namespace xel {
namespace {

constexpr std::size_t kLargestSearchedLinearly = 32;

std::size_t hashOf(std::string_view key) {
    return std::hash<std::string_view>{}(key);
}

}  // namespace

class Dictionary::Index {
public:
    explicit Index(const std::vector<Entry>& entries) {
        positionsByHash_.reserve(entries.size() * 2);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            add(entries[i].first, i);
        }
    }

    void add(std::string_view key, std::size_t position) { positionsByHash_.emplace(hashOf(key), position); }

    [[nodiscard]] std::ptrdiff_t find(const std::vector<Entry>& entries, std::string_view key) const {
        const auto [first, last] = positionsByHash_.equal_range(hashOf(key));
        for (auto it = first; it != last; ++it) {
            if (entries[it->second].first == key) {
                return static_cast<std::ptrdiff_t>(it->second);
            }
        }
        return -1;
    }

private:
    // Not by the text itself, whose octets move when the entries grow.
    std::unordered_multimap<std::size_t, std::size_t> positionsByHash_;
};

Dictionary::Dictionary() = default;
Dictionary::~Dictionary() = default;
Dictionary::Dictionary(Dictionary&& other) noexcept = default;
Dictionary& Dictionary::operator=(Dictionary&& other) noexcept = default;

Dictionary::Dictionary(std::initializer_list<Item> items) {
    for (const auto& [key, value] : items) {
        set(key, value);
    }
}

// The index stays behind: a copy builds its own once it is searched.
Dictionary::Dictionary(const Dictionary& other) : entries_(other.entries_) {}

Dictionary& Dictionary::operator=(const Dictionary& other) {
    if (this != &other) {
        entries_ = other.entries_;
        index_.reset();
    }
    return *this;
}

std::ptrdiff_t Dictionary::position(std::string_view key) const {
    if (entries_.size() > kLargestSearchedLinearly) {
        if (!index_) {
            index_ = std::make_unique<Index>(entries_);
        }
        return index_->find(entries_, key);
    }
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].first == key) {
            return static_cast<std::ptrdiff_t>(i);
        }
    }
    return -1;
}

const Value* Dictionary::find(std::string_view key) const {
    const auto at = position(key);
    return at < 0 ? nullptr : &entries_[static_cast<std::size_t>(at)].second;
}

Value* Dictionary::find(std::string_view key) {
    const auto at = position(key);
    return at < 0 ? nullptr : &entries_[static_cast<std::size_t>(at)].second;
}

Value& Dictionary::at(std::string_view key) {
    if (Value* existing = find(key)) {
        return *existing;
    }
    if (index_) {
        index_->add(key, entries_.size());
    }
    return entries_.emplace_back(std::piecewise_construct, std::forward_as_tuple(key), std::tuple<>()).second;
}

void Dictionary::set(Text key, Value value) {
    if (Value* existing = find(key.string())) {
        *existing = std::move(value);
        return;
    }
    if (index_) {
        index_->add(key.string(), entries_.size());
    }
    entries_.emplace_back(std::move(key).string(), std::move(value));
}

bool Dictionary::remove(std::string_view key) {
    const auto at = position(key);
    if (at < 0) {
        return false;
    }
    // The entries behind move up, so every position after this one is wrong.
    index_.reset();
    entries_.erase(entries_.begin() + at);
    return true;
}

std::vector<Dictionary::Entry> Dictionary::takeEntries() {
    index_.reset();
    return std::exchange(entries_, {});
}

void Dictionary::clear() {
    index_.reset();
    entries_.clear();
}

void Dictionary::reserve(std::size_t count) {
    entries_.reserve(count);
}
std::size_t Dictionary::size() const {
    return entries_.size();
}
bool Dictionary::empty() const {
    return entries_.empty();
}
std::vector<Dictionary::Entry>::const_iterator Dictionary::begin() const {
    return entries_.begin();
}
std::vector<Dictionary::Entry>::const_iterator Dictionary::end() const {
    return entries_.end();
}

bool operator==(const Dictionary& left, const Dictionary& right) {
    if (left.size() != right.size()) {
        return false;
    }
    for (const auto& [key, value] : left) {
        const Value* other = right.find(key);
        if (other == nullptr || !(*other == value)) {
            return false;
        }
    }
    return true;
}

}  // namespace xel
