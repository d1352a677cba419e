#include "XelPushClient/Classes/Registration/Tags.h"

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::int64_t kNotInitializedCode = 506;
constexpr std::int64_t kNotRegisteredCode = 505;
constexpr std::int64_t kArgumentCode = 500;

std::optional<std::string> nameInPath(const std::optional<std::string>& name) {
    if (!name) {
        return std::nullopt;
    }
    const auto& blanks = whitespaceAndNewlineCharacterSet();
    return encodeUrlString(stringByTrimmingTrailingCharactersInSet(
        stringByTrimmingLeadingCharactersInSet(*name, blanks), blanks));
}

std::optional<std::int64_t> countIn(const Value& response) {
    const Dictionary* answer = response.asDictionary();
    const Value* count = answer != nullptr ? answer->find("count") : nullptr;
    return count != nullptr ? count->integer() : std::nullopt;
}

}  // namespace

Tags::Tags(ClientSettings& settings, RestRequests& requests, const LogOutput& log)
    : settings_(settings), requests_(requests), log_(log) {}

void Tags::addTag(const std::optional<std::string>& name, Success success, const Failure& failure) {
    requestForManageTag(name, "addTag", std::move(success), failure);
}

void Tags::removeTag(const std::optional<std::string>& name, Success success, const Failure& failure) {
    requestForManageTag(name, "removeTag", std::move(success), failure);
}

std::optional<NSError> Tags::refusal(const std::optional<std::string>& name) {
    if (isEmptyOrBlank(settings_.apiKey())) {
        constexpr std::string_view kText = "You are not initialized yet.";
        TVRLog(log_, kText);
        return makeError("NotInitialized", kNotInitializedCode, kText);
    }
    if (isEmptyOrBlank(settings_.userId())) {
        constexpr std::string_view kText = "You are not registered yet.";
        TVRLog(log_, kText);
        return makeError("NotRegistered", kNotRegisteredCode, kText);
    }
    if (isEmptyOrBlank(name)) {
        return makeError("Argument", kArgumentCode, "name argument is null or empty");
    }
    return std::nullopt;
}

void Tags::requestForManageTag(const std::optional<std::string>& name, std::string_view operation,
                               Success success, const Failure& failure) {
    if (const auto error = refusal(name)) {
        if (failure) {
            failure(*error);
        }
        return;
    }
    requests_.requestMethod(
        "GET",
        formatted("installations/%@/%@/%@?access_token=%@", operation, settings_.userId(), nameInPath(name),
                  settings_.apiKey()),
        std::nullopt,
        [success = std::move(success)](const Value& response) {
            const auto count = countIn(response);
            if (count && success) {
                success(*count);
            }
        },
        failure);
}

}  // namespace xel
