#include "tests/kill/BrokerKills.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <map>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "sandbox/broker/BrokerConfiguration.h"
#include "sandbox/store/Database.h"
#include "sandbox/store/ServiceStores.h"
#include "tests/kill/HostProcess.h"
#include "tests/kill/KillLoop.h"
#include "tests/kill/KillVerdict.h"
#include "tests/kill/MessageStream.h"
#include "tests/kill/PublishVerdict.h"
#include "tests/kill/ReceivedLog.h"

namespace xel::killtest {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kChannel = "killed01/default";
constexpr const char* kMessage = "message";  // what is counted...
constexpr const char* kProbe = "probe";      // ...and what only shows that messages come
constexpr int kKillsToALossOfSessions = 4;

bool beginsWith(const std::string& note, const char* word) {
    return note.starts_with(word + std::string(" "));
}

class BrokerKills {
public:
    BrokerKills(const std::string& hostProgram, const std::filesystem::path& folder,
                xel::sandbox::SandboxService& service)
        : notes_(folder / "broker.notes"),
          service_(service),
          host_({hostProgram, "both", folder / "broker-home", notes_, service.info()}) {}

    void run(Clock::duration duration) {
        awaitMessages();
        const auto end = Clock::now() + duration;
        while (Clock::now() < end) {
            sendForAWhile();
            killBroker();
            awaitMessages();
        }
        if (!waitFor([this] { return judgeMessages().lost.empty() && judgeEvents().isGood(); },
                     kPatienceForTheRest)) {
            std::cerr << "kill test: by broker: the rest did not come\n";
        }
        // From here on the notes stand still, so that they are held against rows that are not older.
        host_.kill();
    }

    [[nodiscard]] KillVerdict judgeMessages() const {
        return judge(sent_, notesThat([](const auto& note) { return beginsWith(note, kMessage); }), 0);
    }

    [[nodiscard]] PublishVerdict judgeEvents() const {
        const auto promises = notesThat([](const auto& note) {
            return !beginsWith(note, kMessage) && !beginsWith(note, kProbe) && note != kStartLine;
        });
        xel::sandbox::Database store(service_.info().stateFolder / xel::sandbox::kEventStoreFile,
                                     xel::sandbox::LogCopying::WhenAsked);
        xel::sandbox::Database::Statement select(store, "SELECT id FROM events WHERE id IS NOT NULL");
        std::map<std::string, std::size_t> rows;
        while (select.step()) {
            ++rows[select.text(0)];
        }
        return judgePublishing(promises, rows);
    }

    [[nodiscard]] int kills() const { return kills_; }
    [[nodiscard]] int lossesOfSessions() const { return kills_ / kKillsToALossOfSessions; }
    [[nodiscard]] Clock::duration longestWayBack() const { return longestWayBack_; }

private:
    template <class Condition>
    [[nodiscard]] std::vector<std::string> notesThat(Condition condition) const {
        auto notes = linesOf(notes_);
        std::erase_if(notes, [&](const auto& note) { return !condition(note); });
        return notes;
    }

    void sendForAWhile() {
        MessageStream stream(service_.info(), kChannel, kMessage + (" " + std::to_string(kills_)));
        stream.start();
        std::this_thread::sleep_for(upTo(5s));
        const auto sent = stream.stop();
        sent_.insert(sent_.end(), sent.begin(), sent.end());
    }

    void killBroker() {
        ++kills_;
        const bool keepsSessions = kills_ % kKillsToALossOfSessions != 0;
        if (!keepsSessions &&
            !waitFor([this] { return judgeMessages().lost.empty(); }, kPatienceForTheRest)) {
            throw std::runtime_error("the host did not have its messages in time");
        }
        if (keepsSessions) {
            save();
        }
        if (::kill(service_.brokerPid(), SIGKILL) != 0) {
            throw std::runtime_error("the broker is not there to be killed");
        }
        service_.stopBroker();
        std::this_thread::sleep_for(upTo(2s));
        service_.startBroker(keepsSessions ? xel::sandbox::BrokerSessions::Keep
                                           : xel::sandbox::BrokerSessions::Drop);
    }

    /// Returns when the broker has saved what it holds now.
    void save() {
        const auto file = service_.info().stateFolder / xel::sandbox::kBrokerPersistenceFile;
        const auto time = [&] {
            std::error_code notThereYet;
            return std::filesystem::last_write_time(file, notThereYet);
        };
        const auto before = time();
        ::kill(service_.brokerPid(), SIGUSR1);
        if (!waitFor([&] { return time() != before; }, kPatienceForTheRest)) {
            throw std::runtime_error("the broker did not save its sessions");
        }
    }

    void awaitMessages() {
        const auto begin = Clock::now();
        const std::string probe = kProbe + (" " + std::to_string(kills_));
        MessageStream stream(service_.info(), kChannel);
        const bool came = waitFor(
            [&] {
                stream.sendOne(probe);
                const auto notes = linesOf(notes_);
                return std::find(notes.rbegin(), notes.rend(), probe) != notes.rend();
            },
            kPatienceForTheRest);
        if (!came) {
            throw std::runtime_error(kills_ == 0 ? "the host did not come up"
                                                 : "the host did not come back to the broker");
        }
        if (kills_ > 0) {
            longestWayBack_ = std::max(longestWayBack_, Clock::now() - begin);
        }
    }

    std::chrono::milliseconds upTo(std::chrono::milliseconds most) {
        return std::chrono::milliseconds(
            std::uniform_int_distribution<std::int64_t>(100, most.count())(random_));
    }

    std::filesystem::path notes_;
    xel::sandbox::SandboxService& service_;
    HostProcess host_;
    std::mt19937 random_{std::random_device{}()};
    std::vector<std::string> sent_;
    int kills_ = 0;
    Clock::duration longestWayBack_{};
};

}  // namespace

WayOutcome testBrokerKills(const std::string& hostProgram, std::chrono::steady_clock::duration duration,
                           const std::filesystem::path& folder, xel::sandbox::SandboxService& service) {
    BrokerKills test(hostProgram, folder, service);
    test.run(duration);
    const auto messages = test.judgeMessages();
    const auto events = test.judgeEvents();
    std::cout << "kill test: by broker: " << test.kills() << " kills, " << test.lossesOfSessions()
              << " with its sessions; " << messages.sent << " sent, " << messages.lost.size() << " lost, "
              << messages.seenTwice << " seen twice; " << events.promised << " events promised, "
              << events.lost.size() << " lost; longest way back "
              << std::chrono::duration_cast<std::chrono::milliseconds>(test.longestWayBack()).count()
              << " ms\n"
              << std::flush;
    // A run that sent or killed next to nothing proves nothing.
    const bool isEnough = messages.sent >= 100 && events.promised >= 100 && test.kills() >= 2;
    return {messages.lost.empty() && events.isGood() && isEnough, messages.sent, events.promised};
}

}  // namespace xel::killtest
