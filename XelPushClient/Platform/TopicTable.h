#pragma once

#include <algorithm>
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
class TopicTable {
public:
    using Entry = std::pair<std::string, int>;

    TopicTable() = default;
    TopicTable(std::initializer_list<Entry> entries) {
        for (const auto& [topic, qos] : entries) {
            set(topic, qos);
        }
    }

    /// Sets the topic's quality of service: in place when the topic is already there, at the end
    /// otherwise.
    void set(std::string_view topic, int qos) {
        const auto at = find(topic);
        if (at == entries_.end()) {
            entries_.emplace_back(topic, qos);
        } else {
            entries_[static_cast<std::size_t>(at - entries_.begin())].second = qos;
        }
    }

    void remove(std::string_view topic) {
        std::erase_if(entries_, [&](const Entry& entry) { return entry.first == topic; });
    }

    [[nodiscard]] bool contains(std::string_view topic) const { return find(topic) != entries_.end(); }
    [[nodiscard]] bool empty() const { return entries_.empty(); }
    [[nodiscard]] std::size_t size() const { return entries_.size(); }
    [[nodiscard]] const Entry& operator[](std::size_t index) const { return entries_[index]; }
    [[nodiscard]] auto begin() const { return entries_.begin(); }
    [[nodiscard]] auto end() const { return entries_.end(); }
    void clear() { entries_.clear(); }

    friend bool operator==(const TopicTable&, const TopicTable&) = default;

private:
    [[nodiscard]] std::vector<Entry>::const_iterator find(std::string_view topic) const {
        return std::find_if(entries_.begin(), entries_.end(),
                            [&](const Entry& entry) { return entry.first == topic; });
    }

    std::vector<Entry> entries_;
};

}  // namespace xel
