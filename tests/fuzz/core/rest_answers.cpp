// The REST backend's answers of each kind: every request ends once, as its answer says, and the answer's text
// reaches nobody's log together with a secret.
//
// Input: a digit for the kind of the request, three for the status, then the body.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "tests/fuzz/support/FuzzClient.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::FuzzClient;
using fuzz::require;

enum class Kind { Installation, Update, Removal, CodeRequest, CodeCheck, Tag, Plain, Count };

struct Answer {
    int status = 200;
    std::string body;
    /// What the body holds; missing when it is no JSON.
    std::optional<Value> value{};

    [[nodiscard]] bool isSuccess() const { return status >= 200 && status <= 299; }
    [[nodiscard]] const Value* find(std::string_view key) const {
        const Dictionary* object = value ? value->asDictionary() : nullptr;
        return object != nullptr ? object->find(key) : nullptr;
    }
};

/// Counts how a request ends.
struct Ends {
    std::size_t successes = 0;
    std::size_t failures = 0;

    void failed(const NSError& error) {
        ++failures;
        fuzz::CountingHost::requireNoSecret(error.localizedDescription());
    }
};

std::optional<std::string> idIn(const Answer& answer) {
    const Value* id = answer.find("id");
    if (id != nullptr && (id->isInteger() || id->isDouble())) {
        return printJSON(*id, JSONLayout::OneLine);
    }
    return id != nullptr && id->isString() ? std::optional(*id->asString()) : std::nullopt;
}

bool saysUnknown(const Answer& answer) {
    const Value* error = answer.find("error");
    const Value* status = error != nullptr && error->asDictionary() != nullptr
                              ? error->asDictionary()->find("status")
                              : nullptr;
    return status != nullptr && status->integer() == 404;
}

void checkInstallation(FuzzClient& client, const Answer& answer) {
    client.machine.http->answer("POST", "installations", answer.status, answer.body);
    client.machine.runUntilIdle();
    const bool isRead = answer.isSuccess() && (answer.body.empty() || answer.value);
    const auto id = isRead ? idIn(answer) : std::nullopt;
    const bool isGood = id && isSendableText(*id);
    require(client.host->registrations == (isGood ? 1U : 0U), "an id makes a registration");
    require(client.host->registrationFailures == (!isRead || (id && !isGood) ? 1U : 0U),
            "an answer that cannot be used is a failure");
    require(client.manager->deviceId() == (isGood ? id : std::nullopt), "the id is the answer's");
    require(client.manager->isRegistered() == isGood, "a registration is told truly");
}

void checkUpdate(FuzzClient& client, const Answer& answer) {
    client.machine.http->answer("POST", "installations", 200, R"({"id":"D3V1CE"})");
    client.machine.runUntilIdle();
    client.machine.http->clearRequests();
    client.manager->registerDeviceToServer();
    client.machine.runUntilIdle();
    require(client.machine.http->requestsTo("PUT", "installations/D3V1CE").size() == 1, "it is one update");
    client.machine.http->answer("PUT", "installations/D3V1CE", answer.status, answer.body);
    client.machine.runUntilIdle();
    const bool isUnknown =
        (!answer.isSuccess() || (!answer.body.empty() && !answer.value)) && saysUnknown(answer);
    require(client.machine.http->requestsTo("POST", "installations").size() == (isUnknown ? 1U : 0U),
            "an installation that is unknown is made anew");
}

void checkRemoval(FuzzClient& client, const Answer& answer) {
    client.machine.http->answer("POST", "installations", 200, R"({"id":"D3V1CE"})");
    client.machine.runUntilIdle();
    Ends ends;
    client.machine.http->answer("DELETE", "installations/D3V1CE", answer.status, answer.body);
    client.manager->unregisterUser([&](const Value&) { ++ends.successes; },
                                   [&](const NSError& error) { ends.failed(error); });
    client.machine.runUntilIdle();
    const bool isGood = answer.isSuccess() && (answer.body.empty() || answer.value);
    require(ends.successes == (isGood ? 1U : 0U) && ends.failures == (isGood ? 0U : 1U),
            "a removal ends once");
}

void checkCode(FuzzClient& client, const Answer& answer, Kind kind) {
    Ends ends;
    const auto heard = [&](bool isTrue, const std::optional<NSError>& error) {
        if (error) {
            ends.failed(*error);
            return;
        }
        ++ends.successes;
        const Value* result = answer.find("result");
        require(isTrue == (result != nullptr && result->truth()), "the outcome is the answer's");
    };
    client.machine.http->answerAlways("GET", "*", answer.status, answer.body);
    require(kind == Kind::CodeRequest ? client.manager->requestVerificationCode("alice01", heard)
                                      : client.manager->verifyUserCode("alice01", "4711", heard),
            "a request is sent");
    client.machine.runUntilIdle();
    const bool isGood = answer.isSuccess() && answer.value;
    require(ends.successes == (isGood ? 1U : 0U) && ends.failures == (isGood ? 0U : 1U), "a code ends once");
}

void checkTag(FuzzClient& client, const Answer& answer) {
    Ends ends;
    client.machine.http->answerAlways("GET", "*", answer.status, answer.body);
    client.manager->addTag(
        "vip", [&](std::int64_t) { ++ends.successes; }, [&](const NSError& error) { ends.failed(error); });
    client.machine.runUntilIdle();
    const bool isGood = answer.isSuccess() && answer.value;
    const Value* count = answer.find("count");
    require(ends.failures == (isGood ? 0U : 1U), "an answer that cannot be read is a failure");
    require(ends.successes == (isGood && count != nullptr && count->isNumber() ? 1U : 0U), "a count is told");
}

void checkPlain(FuzzClient& client, const Answer& answer) {
    Ends ends;
    client.machine.http->answerAlways("GET", "*", answer.status, answer.body);
    client.manager->requestMethod(
        "GET", "anything", std::nullopt,
        [&](const Value& response) {
            ++ends.successes;
            require(answer.value == response, "the answer is passed on");
        },
        [&](const NSError& error) {
            ends.failed(error);
            require(answer.isSuccess() || error.localizedRecoverySuggestion() == answer.body,
                    "a refusal passes its body on");
        });
    client.machine.runUntilIdle();
    const bool isGood = answer.isSuccess() && answer.value;
    require(ends.successes == (isGood ? 1U : 0U) && ends.failures == (isGood ? 0U : 1U),
            "a request ends once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    if (fuzz::holdsSecret({reinterpret_cast<const char*>(data), size})) {
        return 0;
    }
    const auto kind = static_cast<Kind>(input.below(static_cast<std::size_t>(Kind::Count)));
    Answer answer;
    answer.status = 0;
    for (int digit = 0; digit < 3; ++digit) {
        answer.status = answer.status * 10 + static_cast<int>(input.below(10));
    }
    answer.body = std::string(input.rest());

    FuzzClient client;
    if (auto read = client.machine.json->JSONObjectWithData(answer.body)) {
        answer.value = std::move(read).value();
    }
    client.launch();
    switch (kind) {
        case Kind::Installation: checkInstallation(client, answer); break;
        case Kind::Update: checkUpdate(client, answer); break;
        case Kind::Removal: checkRemoval(client, answer); break;
        case Kind::CodeRequest:
        case Kind::CodeCheck: checkCode(client, answer, kind); break;
        case Kind::Tag: checkTag(client, answer); break;
        default: checkPlain(client, answer); break;
    }
    client.requireNoSecretInLog();
    return 0;
}
