#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/scenarios/interpreter/ScenarioParser.h"

namespace xel::scenario {

/// One thing that happened: its name and what came with it, as texts.
struct JournalEntry {
    std::string name;
    std::vector<std::pair<std::string, std::string>> fields;

    /// "name field=value field=value", for failures.
    [[nodiscard]] std::string describe() const;
};

/// What happened on one channel, in order. Expectations take entries off its front.
class Journal {
public:
    /// `channel` is what the entries are called in failures: "callback", "packet".
    explicit Journal(std::string channel) : channel_(std::move(channel)) {}

    void record(JournalEntry entry) { entries_.push_back(std::move(entry)); }
    void clear() { entries_.clear(); }

    /// Takes the oldest entry off. Throws when there is none, or when it has another name or another value in
    /// one of the fields, given as name and value in turn.
    JournalEntry expectNext(std::string_view name, const std::vector<std::string>& fieldsAndValues);

    /// Throws when an entry of that name is left; of any name when it is empty.
    void expectNone(std::string_view name) const;

private:
    [[nodiscard]] std::string describeRest() const;

    std::string channel_;
    std::deque<JournalEntry> entries_;
};

}  // namespace xel::scenario
