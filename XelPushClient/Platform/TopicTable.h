#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace xel {

/// The qualities of service that are used here (MQTT 3.1.1 section 4.3).
inline constexpr int kAtMostOnce = 0;
inline constexpr int kAtLeastOnce = 1;

/// Topics (MQTT 3.1.1 section 4.7) with the quality of service wanted or granted for each, in the order in
/// which they were first set: the order in which a SUBSCRIBE lists them and its SUBACK answers.
///
/// A large table finds a topic by an index that it makes on first use, and closes the gaps of removed topics
/// when it is next walked: setting or removing all of n topics costs n steps.
/// Thread: a plain value, but not to be shared between threads, not even for reading.
class TopicTable {
public:
    using Entry = std::pair<std::string, int>;

    TopicTable();
    TopicTable(std::initializer_list<Entry> entries);
    TopicTable(const TopicTable& other);
    TopicTable(TopicTable&& other) noexcept;
    TopicTable& operator=(const TopicTable& other);
    TopicTable& operator=(TopicTable&& other) noexcept;
    ~TopicTable();

    /// Sets the topic's quality of service: in place when the topic is already there, at the end
    /// otherwise.
    void set(std::string_view topic, int qos);

    void remove(std::string_view topic);

    /// The topic's quality of service; missing for one that is not there.
    [[nodiscard]] std::optional<int> qosOf(std::string_view topic) const;
    [[nodiscard]] bool contains(std::string_view topic) const { return position(topic).has_value(); }
    [[nodiscard]] bool empty() const { return size() == 0; }
    [[nodiscard]] std::size_t size() const;
    void clear();
    void reserve(std::size_t count) { entries_.reserve(count); }

    // Valid until the table changes.
    [[nodiscard]] const Entry& operator[](std::size_t index) const { return entries()[index]; }
    [[nodiscard]] std::vector<Entry>::const_iterator begin() const { return entries().begin(); }
    [[nodiscard]] std::vector<Entry>::const_iterator end() const { return entries().end(); }

    friend bool operator==(const TopicTable& left, const TopicTable& right) {
        return left.entries() == right.entries();
    }

private:
    struct Index;

    [[nodiscard]] std::optional<std::size_t> position(std::string_view topic) const;
    [[nodiscard]] bool makeIndex() const;
    /// Without the gaps.
    [[nodiscard]] const std::vector<Entry>& entries() const;

    mutable std::vector<Entry> entries_;
    mutable std::unique_ptr<Index> index_;  // there as long as there are gaps
};

}  // namespace xel
