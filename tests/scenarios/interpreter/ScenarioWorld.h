#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "tests/scenarios/interpreter/Journal.h"
#include "tests/scenarios/interpreter/RecordingDelegate.h"
#include "tests/scenarios/interpreter/ScenarioParser.h"

namespace xel::scenario {

/// Everything one scenario happens in: a machine of fakes, one client, its host, and journals of what they
/// did.
///
/// Thread: one.
class ScenarioWorld {
public:
    ScenarioWorld();
    ~ScenarioWorld();
    ScenarioWorld(const ScenarioWorld&) = delete;
    ScenarioWorld& operator=(const ScenarioWorld&) = delete;

    /// Carries one step out and lets everything that follows from it happen.
    void perform(const Step& step);
    /// Fails when the scenario left an exception unnoticed or the client broke the broker's protocol.
    void finish();

    // What the verbs work on.

    /// The client, made by the first step that needs it.
    PushClientManager& manager();
    [[nodiscard]] const Home& home() const { return home_; }
    /// Ends the client as a kill does: nothing more is written, sent or reported.
    void kill();
    /// Ends the client as a host does that drops it.
    void quit();
    /// From now on broadcasts travel on a loop of their own.
    void useMainLoopApart();

    /// Lets time pass; without a duration, only what is due happens.
    void letHappen(FakeRunLoop::Duration duration = FakeRunLoop::Duration::zero());
    /// While paused, steps are carried out with nothing happening in between.
    void setPaused(bool isPaused) { isPaused_ = isPaused; }
    /// What an exception that travelled out of a call or of the loop said; none when there was none.
    std::optional<std::string> takeException();

    /// What the host does inside its next callback of that name, and whether it catches its own exceptions
    /// there.
    void arrangeInside(const std::string& callback, std::vector<std::string> hostStep, bool isCatching);
    void hear(Journal& journal, Journal& states, JournalEntry entry);
    void hearBlock(JournalEntry entry) { hear(blocks, blockStates, std::move(entry)); }
    void hearFromDelegate(JournalEntry entry) { hear(callbacks, states, std::move(entry)); }

    /// Replaces "$now", "$now+500" and "$now-500" (milliseconds) by milliseconds since 1970, and "$" with the
    /// name of something kept by that.
    [[nodiscard]] std::string filled(std::string text) const;
    [[nodiscard]] Value readDocument(const std::string& text) const;

    /// Moves what the broker, the network and the log have seen since the last call into the journals.
    void collect();

    std::unique_ptr<FakeMachine> machine;
    Journal callbacks{"callback"};
    Journal states{"state report"};
    Journal blocks{"block call"};
    Journal blockStates{"state report by block"};
    Journal notifications{"notification"};
    Journal notificationStates{"state report by notification"};
    Journal packets{"packet"};
    Journal acknowledgements{"acknowledgement"};
    Journal attempts{"connection attempt"};
    Journal requests{"request"};
    Journal shown{"shown notification"};
    Journal done{"deferred work"};
    std::vector<HTTPRequest> collectedRequests;
    std::vector<std::string> logLines;
    std::size_t nextLogLine = 0;
    /// What expectations keep under a name, to be recognised later.
    std::map<std::string, std::string> kept;
    std::optional<bool> lastResult;
    std::optional<std::string> lastRefusal;
    std::map<std::string, std::shared_ptr<RecordingDelegate>> delegates;

private:
    struct Inside {
        std::vector<std::string> hostStep;
        bool isCatching = false;
    };

    void makeClient();
    void observeNotifications();
    void collectPackets();
    void runInside(const std::string& callback);

    Home home_;
    std::unique_ptr<PushClientManager> manager_;
    std::multimap<std::string, Inside> insides_;
    std::optional<std::string> exception_;
    std::size_t collectedConnections_ = 0;
    std::size_t collectedShown_ = 0;
    bool isPaused_ = false;
    bool isDying_ = false;
};

/// Carries out the words of one verb; `perform` looks it up by the step's first word.
using Verb = void (*)(ScenarioWorld& world, Words& words);
[[nodiscard]] Verb verbNamed(const std::string& name);

// The verbs, by area.
void performHost(ScenarioWorld& world, Words& words);
void performBroker(ScenarioWorld& world, Words& words);
void performRest(ScenarioWorld& world, Words& words);
void performApplication(ScenarioWorld& world, Words& words);
void performUser(ScenarioWorld& world, Words& words);
void performMedia(ScenarioWorld& world, Words& words);
void performNetwork(ScenarioWorld& world, Words& words);
void performDevice(ScenarioWorld& world, Words& words);
void performDisk(ScenarioWorld& world, Words& words);
void performTime(ScenarioWorld& world, Words& words);
void performExpect(ScenarioWorld& world, Words& words);
void performForget(ScenarioWorld& world, Words& words);

}  // namespace xel::scenario
