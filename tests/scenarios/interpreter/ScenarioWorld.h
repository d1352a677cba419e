#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/Simulation/SimulatedService.h"
#include "tests/scenarios/interpreter/Journal.h"
#include "tests/scenarios/interpreter/RecordingDelegate.h"
#include "tests/scenarios/interpreter/ScenarioParser.h"

namespace xel::scenario {

/// One client of a scenario, with its host, over all its lives. The first has no name.
struct ScenarioClient {
    /// What the host does inside its next callback of a name, and whether it catches its own exceptions
    /// there.
    struct Inside {
        std::vector<std::string> step;
        bool isCatching = false;
    };

    std::string name;
    std::size_t life = 0;  ///< how many it has begun
    bool isAlive = false;
    Home home;
    std::unique_ptr<PushClientManager> manager;
    std::map<std::string, std::shared_ptr<RecordingDelegate>> delegates;
    std::multimap<std::string, Inside> insides;

    /// The name of an entry in a journal that all clients share.
    [[nodiscard]] std::string qualified(const std::string& entryName) const {
        return name.empty() ? entryName : name + ":" + entryName;
    }
};

/// How a host was told something.
enum class Channel { Delegate, Block, Notification };

/// Watches a world from outside, for those who judge a run by more than its expectations.
class WorldObserver {
public:
    virtual ~WorldObserver() = default;

    /// A client is about to be made of these. The observer may put something in between.
    virtual void clientWillBegin(const ScenarioClient& client, Machine& machine, Home& home) = 0;
    /// Its process is no more, or its host has dropped it.
    virtual void clientHasEnded(const ScenarioClient& client) = 0;
    /// The host carries a step out, inside a callback perhaps, and has done so.
    virtual void hostWillAct(const ScenarioClient& client, const std::vector<std::string>& words) = 0;
    virtual void hostHasActed(const ScenarioClient& client, const std::vector<std::string>& words) = 0;
    /// The host hears something from that life's client, before it does anything about it.
    virtual void hostHears(const ScenarioClient& client, std::size_t life, Channel channel,
                           const JournalEntry& entry) = 0;
    /// What reached the broker is about to be put into the journals.
    virtual void packetReachedBroker(const FakeBrokerRecord& record) = 0;
};

/// Everything one scenario happens in: a machine of fakes, clients, their hosts, and journals of what they
/// did. One client acts at a time: the first, unless a step says otherwise.
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

    /// Outlives the world.
    void setObserver(WorldObserver& observer) { observer_ = &observer; }
    [[nodiscard]] const std::map<std::string, std::unique_ptr<ScenarioClient>>& clients() const {
        return clients_;
    }

    // What the verbs work on.

    /// The client that acts.
    [[nodiscard]] ScenarioClient& client() { return *acting_; }
    /// From now on the client of that name acts. The one before is given back.
    std::string actAs(const std::string& name);
    /// The client's manager, made by the first step that needs it.
    PushClientManager& manager();
    [[nodiscard]] const Home& home() const { return acting_->home; }
    /// Ends the process, and every client with it: nothing more is written, sent or reported.
    void kill();
    /// Ends the client as a host does that drops it.
    void quit();
    /// The host carries out a step of its own.
    void actAsHost(const std::vector<std::string>& words);
    /// From now on broadcasts travel on a loop of their own.
    void useMainLoopApart();

    /// Lets time pass; without a duration, only what is due happens.
    void letHappen(FakeRunLoop::Duration duration = FakeRunLoop::Duration::zero());
    /// While paused, steps are carried out with nothing happening in between.
    void setPaused(bool isPaused) { isPaused_ = isPaused; }
    /// What an exception that travelled out of a call or of the loop said; none when there was none.
    std::optional<std::string> takeException();

    /// What happens inside the next callback of that name to the client that acts: a step of its host's, or
    /// "kill" or "quit".
    void arrangeInside(const std::string& callback, std::vector<std::string> step, bool isCatching);
    /// Takes what the blocks and delegates of the client that acts are told.
    [[nodiscard]] std::function<void(JournalEntry entry)> blockEar();
    [[nodiscard]] std::function<void(JournalEntry entry)> delegateEar();
    /// The display string of the connection state of the client that acts, whenever it is called.
    [[nodiscard]] std::function<std::string()> stateReader();

    /// Replaces "$now", "$now+500" and "$now-500" (milliseconds) by milliseconds since 1970, and "$" with the
    /// name of something kept by that.
    [[nodiscard]] std::string filled(std::string text) const;
    [[nodiscard]] Value readDocument(const std::string& text) const;

    /// Moves what the broker, the network and the log have seen since the last call into the journals.
    void collect();

    std::unique_ptr<FakeMachine> machine;
    /// What goes wrong by the lines of `faultForms`.
    std::unique_ptr<SimulatedService> service;
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

private:
    void makeClient(ScenarioClient& client);
    void serveNoRequests();
    void end(ScenarioClient& client);
    void observeNotifications(ScenarioClient& client);
    void hear(ScenarioClient& client, std::size_t life, Channel channel, JournalEntry entry);
    [[nodiscard]] std::function<void(JournalEntry entry)> ear(Channel channel);
    void performInside(const ScenarioClient::Inside& inside);
    void collectPackets();
    void runInside(ScenarioClient& client, const std::string& callback);

    std::map<std::string, std::unique_ptr<ScenarioClient>> clients_;
    ScenarioClient* acting_ = nullptr;
    WorldObserver* observer_ = nullptr;
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
