#include "tools/RestCall.h"

#include <memory>
#include <optional>

#include "XelPushClient/Linux/AsioRunLoop.h"
#include "XelPushClient/Linux/CurlHTTPTransport.h"
#include "XelPushClient/Linux/SimdjsonSerialization.h"
#include "XelPushClient/LoopBack/LBRESTAdapter.h"
#include "tools/ExitCode.h"

namespace xel::tools {

namespace {

constexpr std::int64_t kUnauthorized = 401;
constexpr std::int64_t kForbidden = 403;

[[noreturn]] void fail(const NSError& error) {
    const RestFailure failure = describeRestFailure(error);
    if (failure.isRefusal) {
        throw CommandFailure(ExitCode::CredentialsRefused, failure.text);
    }
    throw CommandFailure(failure.wasAnswered ? ExitCode::Failure : ExitCode::CannotConnect, failure.text);
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

Dictionary postToService(const ServiceAccess& access, const std::string& path, Dictionary body) {
    const auto runLoop = std::make_shared<AsioRunLoop>();
    CurlHTTPOptions options;
    options.caFile = access.caFile;
    const auto transport = std::make_shared<CurlHTTPTransport>(runLoop, std::move(options));
    const auto adapter =
        LBRESTAdapter::adapterWithURL(access.restUrl, transport, std::make_shared<SimdjsonSerialization>());
    adapter->setAccessToken(access.apiKey);

    std::optional<Result<Value>> outcome;
    adapter->send(
        "POST", path, std::move(body),
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
        fail(outcome->error());
    }
    const Dictionary* answer = outcome->value().asDictionary();
    return answer != nullptr ? *answer : Dictionary();
}

}  // namespace xel::tools
