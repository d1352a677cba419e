#include "XelPushClient/Classes/Topics/NameRules.h"

#include <array>

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::string_view kForbiddenInUserId = R"(\s|#|\+|/|\*|\\)";
constexpr std::string_view kForbiddenInChannel = R"(\s|#|\+|\*|\\)";
constexpr std::size_t kShortestUserId = 3;
constexpr std::size_t kLongestUserId = 32;

/// Takes one alternative off the front of the pattern and says whether the character matches it.
bool matchesFirstAlternative(std::string_view& pattern, char32_t character) {
    char32_t wanted = takeFirstCharacter(pattern);
    bool isWhitespaceClass = false;
    if (wanted == U'\\' && !pattern.empty()) {
        wanted = takeFirstCharacter(pattern);
        isWhitespaceClass = wanted == U's';
    }
    if (pattern.starts_with('|')) {
        pattern.remove_prefix(1);
    }
    return isWhitespaceClass ? whitespaceAndNewlineCharacterSet().contains(character) : wanted == character;
}

bool isForbidden(char32_t character, std::string_view pattern) {
    while (!pattern.empty()) {
        if (matchesFirstAlternative(pattern, character)) {
            return true;
        }
    }
    return false;
}

/// A pattern whose answers for ASCII, of which names are made, are found once.
class ForbiddenCharacters {
public:
    explicit ForbiddenCharacters(std::string_view pattern) : pattern_(pattern) {
        for (char32_t character = 0; character < inAscii_.size(); ++character) {
            inAscii_[character] = isForbidden(character, pattern_);
        }
    }

    [[nodiscard]] bool areAbsentFrom(std::string_view text) const {
        while (!text.empty()) {
            const char32_t character = takeFirstCharacter(text);
            const bool isIn =
                character < inAscii_.size() ? inAscii_[character] : isForbidden(character, pattern_);
            if (isIn) {
                return false;
            }
        }
        return true;
    }

private:
    std::string_view pattern_;
    std::array<bool, 128> inAscii_{};
};

}  // namespace

bool checkValidationOfString(std::string_view text, std::string_view pattern) {
    while (!text.empty()) {
        if (isForbidden(takeFirstCharacter(text), pattern)) {
            return false;
        }
    }
    return true;
}

bool isUserIdValid(const std::optional<std::string>& userId) {
    if (!userId || !isValidUTF8(*userId)) {
        return false;
    }
    const auto length = utf16Length(*userId);
    return length >= kShortestUserId && length <= kLongestUserId &&
           checkValidationOfString(*userId, kForbiddenInUserId);
}

bool isChannelValid(std::string_view channel) {
    static const ForbiddenCharacters forbidden(kForbiddenInChannel);
    return !isEmptyOrBlank(channel) && isValidUTF8(channel) && forbidden.areAbsentFrom(channel);
}

bool isEventNameValid(std::string_view eventName) {
    return eventName.find('/') == std::string_view::npos && isChannelValid(eventName);
}

NSError generateInvalidParameterErrorWithMessage(std::string_view message) {
    return makeError(kInvalidParameterErrorDomain, kPushClientParameterNotValidErrorCode, message);
}

}  // namespace xel
