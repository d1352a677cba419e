#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/matrix/support/Correspondent.h"
#include "tests/matrix/support/RealBroker.h"

namespace xel::matrix {

/// A gateway in a process of its own, which is killed while a message goes to all of its clients, and started
/// again on the same folder. For each message that a client gets, one that is offline publishes an answer.
/// What a client has got, and each answer that was taken, is noted in a file at once.
class KilledGateway {
public:
    static constexpr std::size_t kClients = 25;

    KilledGateway(RealBroker& broker, std::string folder);

    /// What all are sent in a life, from 1.
    [[nodiscard]] static std::string textOf(std::size_t life);

    /// One life. SIGKILL comes when so many clients have got its message.
    void liveUntil(std::size_t received);
    /// One more, without a message of its own and with nobody offline, until nothing is missing: no message,
    /// and no answer that was taken. False: something is for good.
    [[nodiscard]] bool liveInPeace();
    [[nodiscard]] std::string describeMissing();

    struct Inbox {
        std::vector<std::string> firstTimes;  ///< without what came again
        bool hasTwiceInALife = false;
    };
    /// What one client has got in all lives.
    [[nodiscard]] Inbox inboxOf(std::size_t client) const;

private:
    struct Note {
        std::string what;
        std::size_t client = 0;
        std::string text{};
    };

    enum class Life { WithOneOffline, OfAll };

    /// The life itself, in the child.
    [[nodiscard]] int live(Life life) const;
    [[nodiscard]] int start(Life life);
    [[nodiscard]] std::vector<Note> notes() const;
    [[nodiscard]] std::size_t countOf(const std::string& what, const std::string& text = {}) const;
    [[nodiscard]] std::string notePath() const { return folder_ + "/noted"; }

    RealBroker& broker_;
    std::string folder_;
    Correspondent correspondent_;
    std::size_t lives_ = 0;   ///< with a message
    std::size_t starts_ = 0;  ///< of the process
};

}  // namespace xel::matrix
