#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Text.h"

namespace xel {

class Value;

/// Text keys to values, in the order in which the keys were first set.
///
/// Removing a key keeps the order of the rest. Small dictionaries, the usual case, are searched linearly;
/// large ones build an index on first use, so that a hostile document with many keys costs linear time.
/// Thread: a plain value, but not to be shared between threads, not even for reading: a search may build
/// the index.
class Dictionary {
public:
    using Entry = std::pair<std::string, Value>;
    /// A key and its value as they are written between braces; defined in Value.h.
    struct Item;

    Dictionary();
    Dictionary(std::initializer_list<Item> items);
    Dictionary(const Dictionary& other);
    Dictionary(Dictionary&& other) noexcept;
    Dictionary& operator=(const Dictionary& other);
    Dictionary& operator=(Dictionary&& other) noexcept;
    ~Dictionary();

    /// The value under the key, or null. Valid until the dictionary changes.
    [[nodiscard]] const Value* find(std::string_view key) const;
    [[nodiscard]] Value* find(std::string_view key);
    [[nodiscard]] bool contains(std::string_view key) const { return find(key) != nullptr; }

    /// Sets the key: in place when it is already there, at the end otherwise.
    void set(Text key, Value value);

    /// The value under the key, to be filled in place; a missing key is added with null. Valid until the
    /// dictionary changes.
    [[nodiscard]] Value& at(std::string_view key);

    /// Removes the key; false when it was not there.
    bool remove(std::string_view key);

    /// Moves all entries out and leaves the dictionary empty.
    [[nodiscard]] std::vector<Entry> takeEntries();

    void clear();
    void reserve(std::size_t count);
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] bool empty() const;

    [[nodiscard]] std::vector<Entry>::const_iterator begin() const;
    [[nodiscard]] std::vector<Entry>::const_iterator end() const;

    /// Equal when both hold the same keys with equal values, whatever their order.
    friend bool operator==(const Dictionary& left, const Dictionary& right);

private:
    class Index;

    [[nodiscard]] std::ptrdiff_t position(std::string_view key) const;

    std::vector<Entry> entries_;
    mutable std::unique_ptr<Index> index_;
};

}  // namespace xel
