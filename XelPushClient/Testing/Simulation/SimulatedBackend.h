#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Dictionary.h"
#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

class FakeHTTPTransport;
class FakeMachine;
class FakeRunLoop;
class SimpleJSONSerialization;

/// What goes wrong at a `SimulatedBackend`. Several things may at once; the first of them that keeps a
/// request from an answer counts.
struct SimulatedBackendTroubles {
    bool isRefusingConnections = false;
    bool isSilent = false;               ///< requests are swallowed, and time out after a minute
    bool isLosingAnswers = false;        ///< requests are done, and the connection ends before the answer
    bool isTalkingGarbage = false;       ///< requests are done, and the answer is no JSON
    std::optional<int> status;           ///< of every answer; requests are done only with one of 200 to 299
    std::optional<std::string> wrongId;  ///< what saved installations are told to be called
    bool isGivingNoId = false;
    std::chrono::milliseconds delay{0};  ///< of every answer
};

/// Hears what a `SimulatedBackend` is asked and answers, as it happens. Every operation is optional.
/// Thread: the backend's.
class SimulatedBackendObserver {
public:
    virtual ~SimulatedBackendObserver() = default;

    virtual void backendDidReceive(const HTTPRequest& request) { static_cast<void>(request); }
    /// An error is what the client's transport reports.
    virtual void backendDidAnswer(const HTTPRequest& request, const Result<HTTPResponse>& answer) {
        static_cast<void>(request), static_cast<void>(answer);
    }
};

/// The REST backend behind the `FakeHTTPTransport` of a machine: installations by their ids,
/// verification codes, tags and crash reports, all in memory.
///
/// It answers what no test has arranged an answer for. Ids are D1, D2 and so on, in the order of
/// registration. Thread: the machine's.
class SimulatedBackend {
public:
    explicit SimulatedBackend(const FakeMachine& machine);
    ~SimulatedBackend();
    SimulatedBackend(const SimulatedBackend&) = delete;
    SimulatedBackend& operator=(const SimulatedBackend&) = delete;

    SimulatedBackendTroubles troubles;

    /// While it does not serve, requests wait for what a test arranges. It does at first.
    void setServing(bool isServing);

    /// Loses every installation: updates of them are answered with 404 from now on.
    void forgetInstallations() { installations_.clear(); }

    /// Each installation as its client last sent it, by its id.
    [[nodiscard]] const std::map<std::string, Dictionary>& installations() const { return installations_; }
    /// The code that the user was sent last; empty for one who asked for none.
    [[nodiscard]] std::string verificationCodeOf(const std::string& userId) const;
    [[nodiscard]] std::set<std::string> tagsOf(const std::string& userId) const;
    [[nodiscard]] std::size_t crashReportCount() const { return crashReportCount_; }

    /// Until it is removed; it outlives that, or the backend.
    void addObserver(SimulatedBackendObserver& observer) { observers_.push_back(&observer); }
    void removeObserver(SimulatedBackendObserver& observer) { std::erase(observers_, &observer); }

private:
    using Path = std::vector<std::string>;

    void receive(std::uint64_t number, const HTTPRequest& request);
    void answer(std::uint64_t number, const HTTPRequest& request, Result<HTTPResponse> answer,
                std::chrono::milliseconds delay);
    [[nodiscard]] Result<HTTPResponse> outcomeOf(const HTTPRequest& request);
    [[nodiscard]] HTTPResponse perform(const HTTPRequest& request);
    [[nodiscard]] HTTPResponse saveInstallation(const HTTPRequest& request, const std::string& id);
    [[nodiscard]] HTTPResponse performOnInstallation(const HTTPRequest& request, const std::string& id);
    [[nodiscard]] HTTPResponse performOnTag(const Path& path);
    [[nodiscard]] HTTPResponse performVerification(const Path& path);

    std::shared_ptr<FakeRunLoop> runLoop_;
    std::shared_ptr<FakeHTTPTransport> http_;
    std::shared_ptr<SimpleJSONSerialization> json_;
    std::map<std::string, Dictionary> installations_;
    std::map<std::string, std::string> codes_;
    std::map<std::string, std::set<std::string>> tags_;
    std::size_t registrationCount_ = 0;
    std::size_t crashReportCount_ = 0;
    std::vector<SimulatedBackendObserver*> observers_;
    Lifeline<SimulatedBackend> life_{*this};
};

}  // namespace xel
