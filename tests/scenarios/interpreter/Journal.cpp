#include "tests/scenarios/interpreter/Journal.h"

namespace xel::scenario {

std::string JournalEntry::describe() const {
    std::string text = name;
    for (const auto& [field, value] : fields) {
        text += " " + field + "=" + value;
    }
    return text;
}

std::string Journal::describeRest() const {
    if (entries_.empty()) {
        return "\n  no " + channel_ + " is left";
    }
    std::string text;
    for (const auto& entry : entries_) {
        text += "\n  " + channel_ + " left: " + entry.describe();
    }
    return text;
}

JournalEntry Journal::expectNext(std::string_view name, const std::vector<std::string>& fieldsAndValues) {
    if (entries_.empty() || entries_.front().name != name) {
        throw ScenarioFailure("the next " + channel_ + " is not " + std::string(name) + describeRest());
    }
    if (fieldsAndValues.size() % 2 != 0) {
        throw ScenarioFailure("a field without a value: " + fieldsAndValues.back());
    }
    const auto& entry = entries_.front();
    for (std::size_t i = 0; i < fieldsAndValues.size(); i += 2) {
        const auto& wanted = fieldsAndValues[i + 1];
        bool isKnown = false;
        for (const auto& [field, value] : entry.fields) {
            if (field != fieldsAndValues[i]) {
                continue;
            }
            isKnown = true;
            if (value != wanted) {
                throw ScenarioFailure(field + " is not " + wanted + describeRest());
            }
        }
        if (!isKnown) {
            throw ScenarioFailure("there is no field " + fieldsAndValues[i] + describeRest());
        }
    }
    JournalEntry taken = std::move(entries_.front());
    entries_.pop_front();
    return taken;
}

void Journal::expectNone(std::string_view name) const {
    for (const auto& entry : entries_) {
        if (name.empty() || entry.name == name) {
            throw ScenarioFailure("a " + channel_ + " that should not be" + describeRest());
        }
    }
}

}  // namespace xel::scenario
