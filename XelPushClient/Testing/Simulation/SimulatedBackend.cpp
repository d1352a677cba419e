#include "XelPushClient/Testing/Simulation/SimulatedBackend.h"

#include <algorithm>
#include <array>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Testing/FakeMachine.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

/// What the library's own transport allows a request.
constexpr auto kTimeOut = std::chrono::minutes(1);

HTTPResponse makeResponse(int status, const Dictionary& document) {
    return {status, {{"Content-Type", "application/json"}}, printJSON(document, JSONLayout::OneLine)};
}

HTTPResponse makeErrorResponse(int status, const std::string& message) {
    return makeResponse(status, {{"error", Dictionary{{"status", status}, {"message", message}}}});
}

NSError failure(NSURLErrorCode code, std::string_view description) {
    return makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), description);
}

/// What the path names, from the kind of thing on: "installations", "D1". Empty for no kind that is known.
std::vector<std::string> pathOf(std::string_view url) {
    constexpr auto kKinds =
        std::to_array<std::string_view>({"installations", "verification", "crashReports"});
    const auto segments = splitString(url.substr(0, url.find_first_of("?#")), "/");
    const auto kind = std::find_first_of(segments.begin(), segments.end(), kKinds.begin(), kKinds.end());
    return {kind, segments.end()};
}

}  // namespace

SimulatedBackend::SimulatedBackend(const FakeMachine& machine)
    : runLoop_(machine.runLoop), http_(machine.http), json_(machine.json) {
    setServing(true);
}

SimulatedBackend::~SimulatedBackend() {
    setServing(false);
}

void SimulatedBackend::setServing(bool isServing) {
    if (!isServing) {
        http_->setServer(nullptr);
        return;
    }
    http_->setServer(life_.guarded([](SimulatedBackend& self, std::uint64_t number,
                                      const HTTPRequest& request) { self.receive(number, request); }));
}

void SimulatedBackend::receive(std::uint64_t number, const HTTPRequest& request) {
    for (auto* observer : observers_) {
        observer->backendDidReceive(request);
    }
    if (troubles.isSilent && !troubles.isRefusingConnections) {
        answer(number, request, failure(NSURLErrorCode::TimedOut, "the backend does not answer"), kTimeOut);
    } else {
        answer(number, request, outcomeOf(request), troubles.delay);
    }
}

void SimulatedBackend::answer(std::uint64_t number, const HTTPRequest& request, Result<HTTPResponse> answer,
                              milliseconds delay) {
    if (delay > milliseconds::zero()) {
        runLoop_->scheduleOutside(
            delay, life_.guarded([number, request, answer = std::move(answer)](SimulatedBackend& self) {
                self.answer(number, request, answer, milliseconds::zero());
            }));
        return;
    }
    for (auto* observer : observers_) {
        observer->backendDidAnswer(request, answer);
    }
    http_->complete(number, std::move(answer));
}

Result<HTTPResponse> SimulatedBackend::outcomeOf(const HTTPRequest& request) {
    if (troubles.isRefusingConnections) {
        return failure(NSURLErrorCode::CannotConnectToHost, "the backend refuses connections");
    }
    if (troubles.status && (*troubles.status < 200 || *troubles.status > 299)) {
        return makeErrorResponse(*troubles.status, "the backend is in trouble");
    }
    auto response = perform(request);
    if (troubles.isLosingAnswers) {
        return failure(NSURLErrorCode::NetworkConnectionLost, "the connection was lost before the answer");
    }
    response.status = troubles.status && response.status == 200 ? *troubles.status : response.status;
    if (troubles.isTalkingGarbage) {
        response.body = R"({"id": "D1)";
    }
    return response;
}

HTTPResponse SimulatedBackend::perform(const HTTPRequest& request) {
    const auto path = pathOf(request.url);
    if (path.size() == 1 && path[0] == "crashReports" && request.method == "POST") {
        return makeResponse(200, {{"id", formatted("C%d", ++crashReportCount_)}});
    }
    if (path.size() >= 3 && path[0] == "verification") {
        return performVerification(path);
    }
    if (path.size() == 4 && path[0] == "installations") {
        return performOnTag(path);
    }
    if (path.size() == 2 && path[0] == "installations") {
        return performOnInstallation(request, path[1]);
    }
    if (path.size() == 1 && path[0] == "installations" && request.method == "POST") {
        return saveInstallation(request, formatted("D%d", ++registrationCount_));
    }
    return makeErrorResponse(404, "there is nothing of that name");
}

HTTPResponse SimulatedBackend::performOnInstallation(const HTTPRequest& request, const std::string& id) {
    const auto installation = installations_.find(id);
    if (installation == installations_.end()) {
        return makeErrorResponse(404, formatted("there is no installation \"%@\"", id));
    }
    if (request.method == "PUT") {
        return saveInstallation(request, id);
    }
    if (request.method == "DELETE") {
        installations_.erase(installation);
        return makeResponse(200, {{"count", 1}});
    }
    return makeResponse(200, installation->second);
}

HTTPResponse SimulatedBackend::saveInstallation(const HTTPRequest& request, const std::string& id) {
    const auto read = json_->JSONObjectWithData(request.body);
    const auto* record = read ? read.value().asDictionary() : nullptr;
    if (record == nullptr) {
        return makeErrorResponse(400, "the body is no JSON object");
    }
    installations_[id] = *record;
    auto answer = *record;
    if (troubles.isGivingNoId) {
        answer.remove("id");
    } else {
        answer.set("id", troubles.wrongId.value_or(id));
    }
    return makeResponse(200, answer);
}

HTTPResponse SimulatedBackend::performOnTag(const Path& path) {
    auto& tags = tags_[path[2]];
    if (path[1] == "addTag") {
        tags.insert(path[3]);
    } else if (path[1] == "removeTag") {
        tags.erase(path[3]);
    } else {
        return makeErrorResponse(404, "there is nothing of that name");
    }
    const auto count = std::count_if(tags_.begin(), tags_.end(),
                                     [&](const auto& user) { return user.second.contains(path[3]); });
    return makeResponse(200, {{"count", static_cast<std::int64_t>(count)}});
}

HTTPResponse SimulatedBackend::performVerification(const Path& path) {
    if (path[1] == "requestCode" && path.size() == 3) {
        codes_[path[2]] = formatted("%d", 1000 + codes_.size());
        return makeResponse(200, {{"result", true}});
    }
    if (path[1] == "verifyCode" && path.size() == 4) {
        const auto code = verificationCodeOf(path[2]);
        return makeResponse(200, {{"result", !code.empty() && code == path[3]}});
    }
    return makeErrorResponse(404, "there is nothing of that name");
}

std::string SimulatedBackend::verificationCodeOf(const std::string& userId) const {
    const auto code = codes_.find(userId);
    return code == codes_.end() ? std::string() : code->second;
}

std::set<std::string> SimulatedBackend::tagsOf(const std::string& userId) const {
    const auto tags = tags_.find(userId);
    return tags == tags_.end() ? std::set<std::string>() : tags->second;
}

}  // namespace xel
