#include "XelPushClient/Testing/Simulation/Fault.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

NSError misread(const std::string& description) {
    return makeError("Fault", 1, description);
}

struct Word {
    std::string text;
    bool isQuoted = false;
};

/// Cuts a line at its blanks. A word in double quotes may hold blanks, and \" and \\.
Result<std::vector<Word>> cutIntoWords(std::string_view line) {
    std::vector<Word> words;
    for (std::size_t at = line.find_first_not_of(' '); at < line.size();
         at = line.find_first_not_of(' ', at)) {
        Word word;
        word.isQuoted = line[at] == '"';
        if (!word.isQuoted) {
            const auto end = std::min(line.find(' ', at), line.size());
            word.text = line.substr(at, end - at);
            at = end;
        } else {
            for (++at; at < line.size() && line[at] != '"'; ++at) {
                if (line[at] == '\\' && at + 1 < line.size()) {
                    ++at;
                }
                word.text += line[at];
            }
            if (at == line.size()) {
                return misread(formatted("a quotation that does not close: %@", line));
            }
            ++at;
        }
        words.push_back(std::move(word));
    }
    return words;
}

/// "broker ends on everything" is no topic of that name.
bool isWordOfAForm(std::string_view text) {
    const auto forms = faultForms();
    return std::any_of(forms.begin(), forms.end(), [&](const FaultForm& form) {
        const auto words = splitString(form.line, " ");
        return std::find(words.begin(), words.end(), text) != words.end();
    });
}

std::string quotedWhereNeeded(const std::string& text) {
    if (!text.empty() && text.find_first_of(" \"") == std::string::npos && !isWordOfAForm(text)) {
        return text;
    }
    std::string quoted = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
        }
        quoted += character;
    }
    return quoted + "\"";
}

std::optional<std::int64_t> numberIn(const std::string& text) {
    std::int64_t number = 0;
    const auto* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

bool isPlaceholder(std::string_view word) {
    return lowerCase(word) != word;
}

/// How many of the form's words the line begins with; it reads the values at the placeholders.
std::size_t match(const FaultForm& form, const std::vector<Word>& words, std::vector<std::string>& values) {
    const auto wanted = splitString(form.line, " ");
    std::size_t count = 0;
    for (; count < wanted.size() && count < words.size(); ++count) {
        if (isPlaceholder(wanted[count])) {
            values.push_back(words[count].text);
        } else if (words[count].isQuoted || wanted[count] != words[count].text) {
            break;
        }
    }
    return count;
}

/// What could follow those of the line's words that mean something.
std::string listOfContinuations(const std::vector<Word>& words, std::size_t known) {
    std::string list;
    for (const auto& form : faultForms()) {
        std::vector<std::string> values;
        if (match(form, words, values) == known) {
            list += (list.empty() ? "" : ", ") + std::string("\"") + std::string(form.line) + "\"";
        }
    }
    return list;
}

/// "for 4 s" or "for 250 ms" behind the form's words.
Result<milliseconds> readDuration(const std::vector<Word>& words, std::size_t at) {
    if (at == words.size()) {
        return milliseconds::zero();
    }
    const auto amount = at + 3 == words.size() && words[at].text == "for" ? numberIn(words[at + 1].text)
                                                                          : std::optional<std::int64_t>();
    const auto& unit = words.back().text;
    // Up to a year, so that nothing overflows.
    constexpr std::int64_t kMost = 366LL * 24 * 60 * 60 * 1000;
    if (!amount || *amount < 1 || *amount > kMost || (unit != "s" && unit != "ms")) {
        return misread(formatted("\"%@\" means nothing there; a duration is \"for 4 s\" or \"for 250 ms\"",
                                 words[at].text));
    }
    return milliseconds(unit == "s" ? *amount * 1000 : *amount);
}

/// Puts the values where the form has them.
Result<Fault> fill(const FaultForm& form, const std::vector<std::string>& values) {
    Fault fault;
    fault.what = form.what;
    auto value = values.begin();
    for (const auto word : splitString(form.line, " ")) {
        if (!isPlaceholder(word)) {
            continue;
        }
        if (word != "N") {
            fault.on = *value++;
            continue;
        }
        const auto number = numberIn(*value);
        if (!number || *number < form.least || *number > form.most) {
            return misread(formatted("N of \"%@\" is a number from %d to %d, not \"%@\"", form.line,
                                     form.least, form.most, *value));
        }
        fault.amount = *number;
        ++value;
    }
    const auto choices = form.choices();
    if (!choices.empty() && std::find(choices.begin(), choices.end(), fault.on) == choices.end()) {
        std::string list;
        for (const auto choice : choices) {
            list += (list.empty() ? "" : ", ") + std::string(choice);
        }
        return misread(formatted("\"%@\" knows no \"%@\", only %@", form.line, fault.on, list));
    }
    return fault;
}

}  // namespace

Result<Fault> parseFault(std::string_view line) {
    const auto cut = cutIntoWords(line);
    if (!cut) {
        return cut.error();
    }
    const auto& words = cut.value();
    std::size_t known = 0;
    for (const auto& form : faultForms()) {
        std::vector<std::string> values;
        const auto count = match(form, words, values);
        known = std::max(known, count);
        if (count < splitString(form.line, " ").size()) {
            continue;
        }
        const auto duration = readDuration(words, count);
        if (!duration) {
            return duration.error();
        }
        if (form.span == FaultSpan::Momentary && duration.value() > milliseconds::zero()) {
            return misread(formatted("\"%@\" happens at once and lasts no time", form.line));
        }
        auto fault = fill(form, values);
        if (fault) {
            fault.value().duration = duration.value();
        }
        return fault;
    }
    const std::string wrong = known < words.size() ? "\"" + words[known].text + "\" means nothing there"
                                                   : std::string("the line is not complete");
    return misread(formatted("%@: %@; known are %@", line, wrong, listOfContinuations(words, known)));
}

std::string describeFault(const Fault& fault) {
    std::string line;
    for (const auto word : splitString(formOf(fault.what).line, " ")) {
        const auto text = !isPlaceholder(word) ? std::string(word)
                          : word == "N"        ? std::to_string(fault.amount)
                                               : quotedWhereNeeded(fault.on);
        line += (line.empty() ? "" : " ") + text;
    }
    if (fault.duration > milliseconds::zero()) {
        const bool isWhole = fault.duration.count() % 1000 == 0;
        line += formatted(" for %d %@", isWhole ? fault.duration.count() / 1000 : fault.duration.count(),
                          isWhole ? "s" : "ms");
    }
    return line;
}

}  // namespace xel
