#include "tests/scenarios/interpreter/ScenarioParser.h"

#include <charconv>
#include <fstream>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel::scenario {
namespace {

constexpr int kDeepestUse = 8;

bool isBlank(char character) {
    return character == ' ' || character == '\t';
}

/// Where the JSON document that begins the text ends.
std::size_t lengthOfDocument(std::string_view text) {
    int open = 0;
    bool isInText = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        if (isInText) {
            if (character == '\\') {
                ++i;
            } else if (character == '"') {
                isInText = false;
            }
        } else if (character == '"') {
            isInText = true;
        } else if (character == '{' || character == '[') {
            ++open;
        } else if ((character == '}' || character == ']') && --open == 0) {
            return i + 1;
        }
    }
    throw ScenarioFailure("a document that does not close");
}

/// "u0007", as in JSON: the character as UTF-8.
std::string characterNamed(std::string_view name) {
    unsigned code = 0;
    if (name.size() != 5 ||
        std::from_chars(name.data() + 1, name.data() + 5, code, 16).ptr != &name.back() + 1) {
        throw ScenarioFailure("four hexadecimal digits follow \\u");
    }
    const auto octet = [](unsigned lead, unsigned bits) { return static_cast<char>(lead | bits); };
    if (code < 0x80) {
        return {octet(0, code)};
    }
    if (code < 0x800) {
        return {octet(0xC0, code >> 6U), octet(0x80, code & 0x3FU)};
    }
    return {octet(0xE0, code >> 12U), octet(0x80, code >> 6U & 0x3FU), octet(0x80, code & 0x3FU)};
}

std::string takeQuoted(std::string_view& rest) {
    std::string word;
    for (std::size_t i = 1; i < rest.size(); ++i) {
        const char character = rest[i];
        if (character == '"') {
            rest.remove_prefix(i + 1);
            return word;
        }
        if (character != '\\' || i + 1 == rest.size()) {
            word += character;
        } else if (rest[++i] == 'u') {
            word += characterNamed(rest.substr(i, 5));
            i += 4;
        } else {
            word += rest[i] == 'n' ? '\n' : rest[i];
        }
    }
    throw ScenarioFailure("a quotation that does not close");
}

void readInto(std::vector<Step>& steps, const std::filesystem::path& file, int depth) {
    std::ifstream stream(file);
    if (!stream) {
        throw ScenarioFailure("there is no file " + file.string());
    }
    if (depth > kDeepestUse) {
        throw ScenarioFailure(file.string() + " uses itself");
    }
    std::string text;
    for (int line = 1; std::getline(stream, text); ++line) {
        const auto first = text.find_first_not_of(" \t");
        if (first == std::string::npos || text[first] == '#') {
            continue;
        }
        Step step{file.string(), line, text.substr(first), {}};
        try {
            step.words = cutIntoWords(text);
        } catch (const ScenarioFailure& failure) {
            throw ScenarioFailure(step.file + ":" + std::to_string(line) + ": " + failure.what());
        }
        if (step.words.size() == 2 && step.words[0] == "use") {
            const auto directory =
                file.parent_path().filename() == "given" ? file.parent_path() : file.parent_path() / "given";
            readInto(steps, directory / (step.words[1] + ".steps"), depth + 1);
        } else {
            steps.push_back(std::move(step));
        }
    }
}

}  // namespace

std::vector<std::string> cutIntoWords(std::string_view line) {
    std::vector<std::string> words;
    for (;;) {
        while (!line.empty() && isBlank(line.front())) {
            line.remove_prefix(1);
        }
        if (line.empty()) {
            return words;
        }
        if (line.front() == '"') {
            words.push_back(takeQuoted(line));
            continue;
        }
        std::size_t length = 0;
        if (line.front() == '{' || line.front() == '[') {
            length = lengthOfDocument(line);
        } else {
            while (length < line.size() && !isBlank(line[length])) {
                ++length;
            }
        }
        words.emplace_back(line.substr(0, length));
        line.remove_prefix(length);
    }
}

std::vector<Step> readScenario(const std::filesystem::path& file) {
    std::vector<Step> steps;
    readInto(steps, file, 0);
    return steps;
}

std::string Words::take(std::string_view what) {
    if (isAtEnd()) {
        throw ScenarioFailure("the step lacks " + std::string(what));
    }
    return words_[next_++];
}

bool Words::takeIf(std::string_view word) {
    if (isAtEnd() || words_[next_] != word) {
        return false;
    }
    ++next_;
    return true;
}

bool Words::takeFlag(std::string_view what) {
    const auto word = take(what);
    if (word == "yes" || word == "on") {
        return true;
    }
    if (word == "no" || word == "off") {
        return false;
    }
    throw ScenarioFailure(std::string(what) + " is yes or no, not " + word);
}

long long Words::takeNumber(std::string_view what) {
    const auto word = take(what);
    long long number = 0;
    const auto read = std::from_chars(word.data(), word.data() + word.size(), number);
    if (read.ec != std::errc() || read.ptr != word.data() + word.size()) {
        throw ScenarioFailure(std::string(what) + " is a number, not " + word);
    }
    return number;
}

std::optional<std::string> Words::takeOptional(std::string_view what) {
    auto word = take(what);
    return word == "(null)" ? std::nullopt : std::optional<std::string>(std::move(word));
}

std::vector<std::string> Words::takeList(std::string_view what) {
    const auto word = take(what);
    if (word == "none") {
        return {};
    }
    const auto pieces = splitString(word, ",");
    return {pieces.begin(), pieces.end()};
}

std::vector<std::string> Words::takeRest() {
    std::vector<std::string> rest(words_.begin() + static_cast<std::ptrdiff_t>(next_), words_.end());
    next_ = words_.size();
    return rest;
}

void Words::requireEnd() const {
    if (!isAtEnd()) {
        throw ScenarioFailure("\"" + words_[next_] + "\" means nothing here");
    }
}

}  // namespace xel::scenario
