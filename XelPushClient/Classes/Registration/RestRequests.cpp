#include "XelPushClient/Classes/Registration/RestRequests.h"

#include <algorithm>

#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/Core/ServiceRequests.h"
#include "XelPushClient/Classes/Topics/NameRules.h"

namespace xel {
namespace {

using Life = std::weak_ptr<const LogOutput*>;

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    return text;
}

void logAnswer(const Life& life, const Result<Value>& parsed) {
    if (const auto log = life.lock()) {
        TVRLog(**log, "Request response has contain : %@",
               parsed ? FormatArgument(parsed.value()) : FormatArgument(std::optional<std::string>()));
    }
}

void logFailure(const Life& life, const NSError& error) {
    if (const auto log = life.lock()) {
        TVRLog(**log, "Request reponse Error %@", error.localizedDescription());
    }
}

}  // namespace

RestRequests::RestRequests(const Machine& machine, const ClientSettings& settings, const LogOutput& log)
    : machine_(machine), settings_(settings), log_(log), life_(std::make_shared<const LogOutput*>(&log)) {}

void RestRequests::requestMethod(const std::optional<std::string>& method, const std::string& path,
                                 const std::optional<Dictionary>& parameters, Success success,
                                 const Failure& failure) {
    if (!method || method->empty()) {
        TVRLog(log_, "Method name should have value.");
        return;
    }
    const std::string name = upperCase(*method);
    const bool hasJSONBody = parameters && name == "POST";
    std::optional<std::string> body;
    if (hasJSONBody) {
        body = serializeToDict(parameters, log_);
        if (!body) {
            if (failure) {
                failure(generateInvalidParameterErrorWithMessage(
                    "parameters hold a value that JSON cannot carry"));
            }
            return;
        }
    }
    const auto client = serviceHTTPClient(machine_.endpoints, settings_.appId(), machine_.http);
    auto request = client.requestWithMethod(name, path, hasJSONBody ? std::nullopt : parameters);
    if (body) {
        setJSONBody(request, std::move(*body));
    }

    const auto operation = client.operationWithRequest(std::move(request));
    const Life life = life_;
    operation->setCompletionBlock(
        [life, json = machine_.json, success = std::move(success), failure](const HTTPResponse& response) {
            const auto parsed = json->JSONObjectWithData(response.body);
            logAnswer(life, parsed);
            if (parsed && success) {
                success(parsed.value());
            } else if (!parsed && failure) {
                failure(parsed.error());
            }
        },
        [life, failure](const NSError& error) {
            logFailure(life, error);
            if (failure) {
                failure(error);
            }
        });
    if (!operation->isExecuting()) {
        operation->start();
    }
}

}  // namespace xel
