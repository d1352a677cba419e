#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/unit/Classes/Support/RecordingDelegate.h"

namespace xel {

/// What the host does away with in the call that it chose.
enum class Ending {
    Manager,            ///< only the client
    ManagerAndMachine,  ///< also its last references to everything that the client stood on, but for the loop
    ManagerOfApartLoops  ///< only the client, whose broadcasts have a loop of their own
};

/// A host that hears of everything in every way, goes through all that a client can meet, and destroys its
/// client inside one of the calls.
class EndingHost {
public:
    /// `fatal`: the number of the call, from 0; none: the client lives to the end.
    EndingHost(Ending ending, std::optional<std::size_t> fatal);
    ~EndingHost();
    EndingHost(const EndingHost&) = delete;
    EndingHost& operator=(const EndingHost&) = delete;

    void live();

    /// Every call, in order: "delegate: …", "block: …", "notification: …", "answer: …".
    [[nodiscard]] const std::vector<std::string>& heard() const { return *heard_; }
    /// What was reported after the client's end. Answers to single requests are none of it.
    [[nodiscard]] const std::vector<std::string>& reportedAfterEnd() const { return reportedAfterEnd_; }
    [[nodiscard]] bool hasEnded() const { return manager_ == nullptr; }

private:
    void hear(const std::string& what);
    void end();
    void listen();
    void setBlocks();
    void step(const std::function<void()>& work);
    void drive();

    void meetRefusals();
    void registerAndConnect();
    void receive();
    void loseAndFind();
    void goToTheBackground();
    void answerRequests();
    void changeIdentity();

    Ending ending_;
    std::optional<std::size_t> fatal_;
    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
    std::vector<std::string> reportedAfterEnd_;
    std::unique_ptr<FakeMachine> machine_;
    std::shared_ptr<FakeRunLoop> runLoop_;
    std::shared_ptr<FakeRunLoop> mainRunLoop_;
    std::unique_ptr<PushClientManager> manager_;
};

}  // namespace xel
