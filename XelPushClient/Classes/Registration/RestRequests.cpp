#include "XelPushClient/Classes/Registration/RestRequests.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/Core/ServiceRequests.h"
#include "XelPushClient/Classes/Topics/NameRules.h"

namespace xel {
namespace {

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    return text;
}

}  // namespace

RestRequests::RestRequests(Surroundings surroundings)
    : surroundings_(std::move(surroundings)), wayIn_(surroundings_.life.wayInto(*this)) {}

void RestRequests::logAnswer(const Result<Value>& parsed) const {
    TVRLog(surroundings_.log, "Request response has contain : %@",
           parsed ? FormatArgument(parsed.value()) : FormatArgument(std::optional<std::string>()));
}

void RestRequests::requestMethod(const std::optional<std::string>& method, const std::string& path,
                                 const std::optional<Dictionary>& parameters, Success success,
                                 const Failure& failure) {
    if (!method || method->empty()) {
        TVRLog(surroundings_.log, "Method name should have value.");
        return;
    }
    const std::string name = upperCase(*method);
    const bool hasJSONBody = parameters && name == "POST";
    std::optional<std::string> body;
    if (hasJSONBody) {
        body = serializeToDict(parameters, surroundings_.log);
        if (!body) {
            if (failure) {
                failure(generateInvalidParameterErrorWithMessage(
                    "parameters hold a value that JSON cannot carry"));
            }
            return;
        }
    }
    const auto client =
        serviceHTTPClient(surroundings_.endpoints, surroundings_.settings.appId(), surroundings_.http);
    auto request = client.requestWithMethod(name, path, hasJSONBody ? std::nullopt : parameters);
    if (body) {
        setJSONBody(request, std::move(*body));
    }

    const auto operation = client.operationWithRequest(std::move(request));
    operation->setCompletionBlock(
        [wayIn = wayIn_, json = surroundings_.json, success = std::move(success),
         failure](const HTTPResponse& response) {
            const auto parsed = json->JSONObjectWithData(response.body);
            if (const auto self = wayIn.hold()) {
                self->logAnswer(parsed);
            }
            if (parsed && success) {
                success(parsed.value());
            } else if (!parsed && failure) {
                failure(parsed.error());
            }
        },
        [wayIn = wayIn_, failure](const NSError& error) {
            if (const auto self = wayIn.hold()) {
                TVRLog(self->surroundings_.log, "Request reponse Error %@", error.localizedDescription());
            }
            if (failure) {
                failure(error);
            }
        });
    if (!operation->isExecuting()) {
        operation->start();
    }
}

}  // namespace xel
