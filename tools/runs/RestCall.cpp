#include "tools/runs/RestCall.h"

#include <memory>
#include <optional>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "XelPushClient/LoopBack/LBRESTAdapter.h"

namespace xel::tools {

namespace {

constexpr std::int64_t kUnauthorized = 401;
constexpr std::int64_t kForbidden = 403;

Dictionary ask(const ServiceAccess& access, std::string_view method, const std::string& path,
               const std::optional<Dictionary>& body) {
    const auto runLoop = std::make_shared<AsioRunLoop>();
    CurlHTTPOptions options;
    options.caFile = access.caFile;
    const auto transport = std::make_shared<CurlHTTPTransport>(runLoop, std::move(options));
    const auto adapter =
        LBRESTAdapter::adapterWithURL(access.restUrl, transport, std::make_shared<SimdjsonSerialization>());
    adapter->setAccessToken(access.apiKey);

    std::optional<Result<Value>> outcome;
    adapter->send(
        method, path, body,
        [&](const Value& answer) {
            outcome = answer;
            runLoop->stop();
        },
        [&](const NSError& error) {
            outcome = error;
            runLoop->stop();
        });
    runLoop->run();
    if (!*outcome) {
        const RestFailure failure = describeRestFailure(outcome->error());
        throw CommandFailure(exitCodeOf(failure), failure.text);
    }
    const Dictionary* answer = outcome->value().asDictionary();
    return answer != nullptr ? *answer : Dictionary();
}

}  // namespace

RestFailure describeRestFailure(const NSError& error) {
    RestFailure failure;
    failure.text = error.localizedDescription();
    const auto body = error.localizedRecoverySuggestion();
    if (!body) {
        return failure;
    }
    failure.wasAnswered = true;
    const auto answer = SimdjsonSerialization().JSONObjectWithData(*body);
    const Dictionary* record = answer ? answer.value().asDictionary() : nullptr;
    const Value* told = record != nullptr ? record->find("error") : nullptr;
    const Dictionary* details = told != nullptr ? told->asDictionary() : nullptr;
    if (details == nullptr) {
        return failure;
    }
    if (const Value* status = details->find("status")) {
        const auto number = status->integer().value_or(0);
        failure.isRefusal = number == kUnauthorized || number == kForbidden;
    }
    if (const Value* message = details->find("message"); message != nullptr && message->isString()) {
        failure.text = "the service answers: " + *message->asString();
    }
    return failure;
}

ExitCode exitCodeOf(const RestFailure& failure) {
    if (failure.isRefusal) {
        return ExitCode::CredentialsRefused;
    }
    return failure.wasAnswered ? ExitCode::Failure : ExitCode::CannotConnect;
}

Dictionary postToService(const ServiceAccess& access, const std::string& path, Dictionary body) {
    return ask(access, "POST", path, std::move(body));
}

Dictionary getFromService(const ServiceAccess& access, const std::string& path) {
    return ask(access, "GET", path, std::nullopt);
}

}  // namespace xel::tools
