#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace xel::scenario {

/// A step that cannot be read, or that did not turn out as written. Ends its scenario.
class ScenarioFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A step for which things do not stand as it needs them.
class StepDoesNotApply : public ScenarioFailure {
public:
    using ScenarioFailure::ScenarioFailure;
};

/// One line of a scenario, cut into words.
struct Step {
    std::string file;
    int line = 0;
    std::string text;
    std::vector<std::string> words;
};

/// Reads a scenario.
///
/// One step a line. A line that begins with "#" is a comment, an empty one nothing. Words stand between
/// blanks; a word in double quotes may hold blanks, with \" \\ and \n in it; a word that begins with "{" or
/// "[" is a JSON document and ends where its brackets close. "use name" stands for the steps of the file
/// "given/name.steps".
[[nodiscard]] std::vector<Step> readScenario(const std::filesystem::path& file);

/// Cuts one line into words. Throws `ScenarioFailure`.
[[nodiscard]] std::vector<std::string> cutIntoWords(std::string_view line);

/// The words of one step, taken one after the other.
class Words {
public:
    explicit Words(std::vector<std::string> words) : words_(std::move(words)) {}

    [[nodiscard]] bool isAtEnd() const { return next_ == words_.size(); }

    /// The next word. Throws when there is none; `what` says what was wanted.
    std::string take(std::string_view what);

    /// Takes the next word when it is that one.
    bool takeIf(std::string_view word);

    /// "yes" or "no", "on" or "off".
    bool takeFlag(std::string_view what);
    long long takeNumber(std::string_view what);

    /// A text; "(null)" is a missing one.
    std::optional<std::string> takeOptional(std::string_view what);

    /// A list between commas; "none" is an empty one.
    std::vector<std::string> takeList(std::string_view what);

    /// Everything that is left.
    std::vector<std::string> takeRest();

    /// Throws when words are left over.
    void requireEnd() const;

private:
    std::vector<std::string> words_;
    std::size_t next_ = 0;
};

}  // namespace xel::scenario
