#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

const NSError kError = makeError("domain", 77, "what went wrong");

std::string errorUnder(const NotificationInfo& info, std::string_view key) {
    const auto* error = info.get<NSError>(key);
    return error != nullptr ? formatted("%@=%d", key, error->code) : "none";
}

template <class T>
std::string numberUnder(const NotificationInfo& info, std::string_view key) {
    const auto* number = info.get<T>(key);
    return number != nullptr ? formatted("%@=%d", key, *number) : "none";
}

/// One outcome, and what the host hears of it.
struct Outcome {
    std::string name;
    std::function<void(EventFanout&)> report;
    std::string delegateHears;
    std::string blockHears;              ///< empty: no block is called
    std::string_view notification = {};  ///< empty: none is posted
    std::size_t keys = 0;
    std::function<std::string(const NotificationInfo&)> details = nullptr;
    std::string detailsWanted = {};
};

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << outcome.name;
}

std::shared_ptr<const PushClientMessage> message() {
    PushClientMessage made;
    made.id = "m1";
    return std::make_shared<const PushClientMessage>(made);
}

std::vector<Outcome> registrationOutcomes() {
    return {
        {"ConnectionState", [](auto& fanout) { fanout.callBackConnectionStateDidChanged(); },
         "delegate: ConnectionState", "serverConnectionStateHandler",
         "PushClientDidChangeServerConnectionStateNotification"},
        {"Reachability",
         [](auto& fanout) {
             fanout.callBackServerReachabilityChanged(true, PushClientServerReachabilityCelluarNetworkType);
         },
         "delegate: Reachability 1 1", "serverReachabilityHandler 1 1",
         "PushClientDidChangeServerReachabilityNotification", 2,
         [](const auto& info) {
             return numberUnder<bool>(info, "reachable") + " " + numberUnder<unsigned>(info, "networkType");
         },
         "reachable=1 networkType=1"},
        {"Registered", [](auto& fanout) { fanout.callbackRegitrationSuccess(true, "alice01"); },
         "delegate: RegisterUser 1", "registrationHandler 1 alice01 (null)",
         "PushClientDidRegisterUserNotification"},
        {"RegistrationFailed",
         [](auto& fanout) { fanout.callbackRegitrationFailure(false, "alice01", kError); },
         "delegate: FailRegisterUser 77",
         "registrationHandler 0 alice01 Error Domain=domain Code=77 \"what went wrong\"",
         "PushClientDidFailRegisterUserNotification", 1,
         [](const auto& info) { return errorUnder(info, "error"); }, "error=77"},
    };
}

std::vector<Outcome> verificationOutcomes() {
    return {
        {"VerificationSent", [](auto& fanout) { fanout.callbackSentVerificationRequest(true); },
         "delegate: SentVerificationCode", "verificationHandler 1 (null)",
         "PushClientDidSentVerificationCodeNotification", 1,
         [](const auto& info) { return numberUnder<bool>(info, "sent"); }, "sent=1"},
        {"VerificationFailed", [](auto& fanout) { fanout.callbackRequestVerificationFailure(kError); },
         "delegate: FailSentVerificationCode 77",
         "verificationHandler 0 Error Domain=domain Code=77 \"what went wrong\"",
         "PushClientDidFailSentVerificationCodeNotification", 2,
         [](const auto& info) {
             return numberUnder<bool>(info, "sentRequst") + " " + errorUnder(info, "error");
         },
         "sentRequst=0 error=77"},
        {"CodeVerified", [](auto& fanout) { fanout.callbackVerifyUserCode(true); },
         "delegate: VerifyUserCode 1", "verifiyUserCodeHandler 1 (null)",
         "PushClientDidVerifyUserCodeNotification", 1,
         [](const auto& info) { return numberUnder<bool>(info, "verifyUserCode"); }, "verifyUserCode=1"},
        {"CodeVerificationFailed", [](auto& fanout) { fanout.callbackVerifyUserCodeFailure(kError); },
         "delegate: FailInVerifyUserCode 77",
         "verifiyUserCodeHandler 0 Error Domain=domain Code=77 \"what went wrong\"",
         "PushClientDidFailInVerifyUserCodeNotification", 2,
         [](const auto& info) {
             return numberUnder<bool>(info, "verifyUserCode") + " " + errorUnder(info, "error");
         },
         "verifyUserCode=0 error=77"},
    };
}

std::vector<Outcome> delegateOnlyOutcomes() {
    return {
        {"Delivery",
         [](auto& fanout) {
             fanout.callbackNewDeliveryReceived({"m1", "u", "d", Date()});
         },
         "delegate: Delivery m1", ""},
        {"Event",
         [](auto& fanout) {
             fanout.callBackNewEventMessageReceived({"login", "X9", std::nullopt});
         },
         "delegate: Event login", ""},
        {"Subscribed", [](auto& fanout) { fanout.invokePushClientManagerDidSubscribed("news"); },
         "delegate: Subscribed news", ""},
        {"Unsubscribed", [](auto& fanout) { fanout.invokePushClientManagerDidUnsubscribed("news", [] {}); },
         "delegate: Unsubscribed news", ""},
        {"SubscribeFailed", [](auto& fanout) { fanout.invokePushClientManagerDidFailInSubscribe(kError); },
         "delegate: FailInSubscribe domain 77 what went wrong", ""},
        {"UnsubscribeFailed",
         [](auto& fanout) { fanout.invokePushClientManagerDidFailInUnsubscribe(kError); },
         "delegate: FailInUnsubscribe domain 77 what went wrong", ""},
        {"PublishFailed", [](auto& fanout) { fanout.invokePushClientManagerDidFailInPublish(kError); },
         "delegate: FailInPublish 77", ""},
    };
}

std::vector<Outcome> allOutcomes() {
    auto all = registrationOutcomes();
    for (const auto& more : {verificationOutcomes(), delegateOnlyOutcomes()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

const std::vector<std::string_view>& notificationNames() {
    static const std::vector<std::string_view> names = {
        "PushClientDidReceivedMessageNotification",
        "PushClientDidChangeServerReachabilityNotification",
        "PushClientDidRegisterUserNotification",
        "PushClientDidFailRegisterUserNotification",
        "PushClientDidChangeServerConnectionStateNotification",
        "PushClientDidSentVerificationCodeNotification",
        "PushClientDidFailSentVerificationCodeNotification",
        "PushClientDidVerifyUserCodeNotification",
        "PushClientDidFailInVerifyUserCodeNotification",
        "PushClientDidDeliveredMessageNotification",
        "PushClientDetectAppNewInstallNotification",
        "PushClientDetectAppWasLaunchedNotification",
        "PushClientDidChangedInstallationIdNotification",
    };
    return names;
}

class EventFanoutTest : public RoomsTest, public testing::WithParamInterface<Outcome> {
protected:
    EventFanout& fanout() { return rooms_->fanout; }

    void note(const std::string& what) { heard_->push_back(what); }

    void setEveryBlock() {
        auto& blocks = fanout().blocks;
        blocks.messageHandler = [this](const auto&) { note("messageHandler"); };
        blocks.messageUILocalNotificationHandler = [this](const auto&) {
            note("messageUILocalNotificationHandler");
        };
        blocks.messageDeliveredHandler = [this](const auto&) { note("messageDeliveredHandler"); };
        blocks.registrationHandler = [this](bool registered, const auto& userId, const auto& error) {
            note(formatted("registrationHandler %d %@ %@", registered, userId, error));
        };
        blocks.serverConnectionStateHandler = [this] { note("serverConnectionStateHandler"); };
        blocks.serverReachabilityHandler = [this](bool reachable, auto type) {
            note(formatted("serverReachabilityHandler %d %d", reachable, static_cast<int>(type)));
        };
        blocks.verificationHandler = [this](bool sent, const auto& error) {
            note(formatted("verificationHandler %d %@", sent, error));
        };
        blocks.verifiyUserCodeHandler = [this](bool verified, const auto& error) {
            note(formatted("verifiyUserCodeHandler %d %@", verified, error));
        };
    }

    void observeEverything() {
        for (const auto name : notificationNames()) {
            home_.notificationCenter->addObserver(std::string(name), nullptr,
                                                  [this](const NSNotification& notification) {
                                                      note(notification.name);
                                                      notifications_.push_back(notification);
                                                  });
        }
    }

    std::vector<NSNotification> notifications_;
};

TEST_P(EventFanoutTest, TellsDelegateThenBlockThenPostsTheNotification) {
    addDelegate();
    setEveryBlock();
    observeEverything();
    const auto& outcome = GetParam();
    outcome.report(fanout());
    Heard wanted = {outcome.delegateHears};
    if (!outcome.blockHears.empty()) {
        wanted.push_back(outcome.blockHears);
    }
    EXPECT_EQ(*heard_, wanted) << "the notification is posted, not waited for";
    machine_.runUntilIdle();
    if (!outcome.notification.empty()) {
        wanted.emplace_back(outcome.notification);
    }
    EXPECT_EQ(*heard_, wanted);
}

TEST_P(EventFanoutTest, PostsWithTheManagerAndTheDetails) {
    observeEverything();
    const auto& outcome = GetParam();
    outcome.report(fanout());
    machine_.runUntilIdle();
    ASSERT_EQ(notifications_.size(), outcome.notification.empty() ? 0U : 1U);
    for (const auto& notification : notifications_) {
        EXPECT_EQ(notification.object, &manager_);
        EXPECT_EQ(notification.userInfo.size(), outcome.keys);
        EXPECT_EQ(outcome.details ? outcome.details(notification.userInfo) : "", outcome.detailsWanted);
    }
}

TEST_P(EventFanoutTest, PassesSilentlyWhenNobodyListens) {
    fanout().delegates.addDelegate(std::make_shared<PushClientManagerDelegate>(), {});
    GetParam().report(fanout());
    machine_.runUntilIdle();
    EXPECT_TRUE(heard_->empty());
}

TEST_P(EventFanoutTest, ReachesEachDelegateOnceInOrder) {
    const auto operations = operationsOverriddenBy<RecordingDelegate>();
    const auto first = std::make_shared<RecordingDelegate>(heard_);
    fanout().delegates.addDelegate(first, operations);
    fanout().delegates.addDelegate(std::make_shared<RecordingDelegate>(heard_, "second"), operations);
    fanout().delegates.addDelegate(first, operations);
    GetParam().report(fanout());
    const auto& hears = GetParam().delegateHears;
    EXPECT_THAT(*heard_, testing::ElementsAre(hears, "second" + hears.substr(hears.find(':'))));
}

INSTANTIATE_TEST_SUITE_P(Outcomes, EventFanoutTest, testing::ValuesIn(allOutcomes()),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(EventFanoutTest, PostsANewMessageBeforeItsBlocksAreCalled) {
    fanout().delegates.addDelegate(std::make_shared<NotifyingDelegate>(heard_),
                                   operationsOverriddenBy<NotifyingDelegate>());
    setEveryBlock();
    observeEverything();
    fanout().blocks.messageHandler = [this](const auto&) {
        note(machine_.runLoop->hasWorkDue() ? "messageHandler, posted before" : "messageHandler");
    };
    EXPECT_TRUE(fanout().callbackNewMessageReceived(message()));
    machine_.runUntilIdle();
    EXPECT_THAT(*heard_,
                testing::ElementsAre("delegate: Message m1", "delegate: UILocalNotification m1",
                                     "messageHandler, posted before", "messageUILocalNotificationHandler",
                                     "PushClientDidReceivedMessageNotification"));
    ASSERT_EQ(notifications_.size(), 1U);
    const auto* posted = notifications_[0].userInfo.get<PushClientMessage>("message");
    ASSERT_NE(posted, nullptr);
    EXPECT_EQ(posted->id, "m1");
    EXPECT_EQ(notifications_[0].object, &manager_);
}

std::shared_ptr<const PushClientMessage> messageWithId(std::string id) {
    PushClientMessage made;
    made.id = std::move(id);
    return std::make_shared<const PushClientMessage>(std::move(made));
}

class BroadcastsTest : public EventFanoutTest {
protected:
    void observeMessages() {
        home_.notificationCenter->addObserver(
            std::string(PushClientDidReceivedMessageNotification), nullptr,
            [this](const NSNotification& notification) {
                note(*notification.userInfo.get<PushClientMessage>("message")->id);
                if (notification.userInfo.get<PushClientMessage>("message")->id == throwsAt_) {
                    throw std::runtime_error("host");
                }
                if (notification.userInfo.get<PushClientMessage>("message")->id == endsAt_) {
                    rooms_.reset();
                }
            });
    }
    void receive(const std::string& id) { (void)fanout().callbackNewMessageReceived(messageWithId(id)); }

    std::string throwsAt_;
    std::string endsAt_;
};

TEST_F(BroadcastsTest, ReachAnObserverWhoComesBeforeTheLoopDoes) {
    receive("m1");
    receive("m2");
    observeMessages();
    receive("m3");
    EXPECT_TRUE(heard_->empty());
    machine_.runUntilIdle();
    EXPECT_THAT(*heard_, testing::ElementsAre("m1", "m2", "m3"));
}

TEST_F(BroadcastsTest, AreNotKeptForAnObserverWhoComesLater) {
    receive("m1");
    machine_.runUntilIdle();
    observeMessages();
    receive("m2");
    machine_.runUntilIdle();
    EXPECT_THAT(*heard_, testing::ElementsAre("m2"));
}

TEST_F(BroadcastsTest, ComeInTheOrderOfWhatHappened) {
    observeMessages();
    home_.notificationCenter->addObserver(std::string(PushClientDidChangeServerConnectionStateNotification),
                                          nullptr, [this](const NSNotification&) { note("state"); });
    receive("m1");
    fanout().callBackConnectionStateDidChanged();
    receive("m2");
    receive("m3");
    machine_.runUntilIdle();
    EXPECT_THAT(*heard_, testing::ElementsAre("m1", "state", "m2", "m3"));
}

TEST_F(BroadcastsTest, GoOnInTheNextRunBehindAnObserverWhoThrows) {
    observeMessages();
    throwsAt_ = "m2";
    receive("m1");
    receive("m2");
    receive("m3");
    EXPECT_THROW(machine_.runUntilIdle(), std::runtime_error);
    EXPECT_THAT(*heard_, testing::ElementsAre("m1", "m2"));
    machine_.runUntilIdle();
    EXPECT_THAT(*heard_, testing::ElementsAre("m1", "m2", "m3"));
}

TEST_F(BroadcastsTest, EndWithTheManager) {
    observeMessages();
    endsAt_ = "m1";
    receive("m1");
    receive("m2");
    machine_.runUntilIdle();
    EXPECT_THAT(*heard_, testing::ElementsAre("m1"));
}

TEST_F(BroadcastsTest, HoldNoMessageOnceTheLoopHasComeToIt) {
    auto received = messageWithId("m1");
    const std::weak_ptr kept(received);
    (void)fanout().callbackNewMessageReceived(std::exchange(received, nullptr));
    EXPECT_FALSE(kept.expired());
    machine_.runUntilIdle();
    EXPECT_TRUE(kept.expired());
}

TEST_F(EventFanoutTest, SaysWhoShowsTheNotificationOfAMessage) {
    addDelegate();
    fanout().blocks.messageHandler = [](const auto&) {};
    EXPECT_FALSE(fanout().callbackNewMessageReceived(message()));
    fanout().blocks.messageUILocalNotificationHandler = [](const auto&) {};
    EXPECT_TRUE(fanout().callbackNewMessageReceived(message()));
    fanout().blocks.messageUILocalNotificationHandler = nullptr;
    fanout().delegates.addDelegate(std::make_shared<NotifyingDelegate>(heard_),
                                   operationsOverriddenBy<NotifyingDelegate>());
    EXPECT_TRUE(fanout().callbackNewMessageReceived(message()));
}

TEST_F(EventFanoutTest, SkipsAMissingChannel) {
    addDelegate();
    fanout().invokePushClientManagerDidSubscribed(std::nullopt);
    EXPECT_TRUE(heard_->empty());
}

TEST_F(EventFanoutTest, LogsWhetherThereIsARegistrationHandler) {
    switchLogOn();
    fanout().callbackRegitrationSuccess(true, "alice01");
    fanout().callbackRegitrationFailure(false, "alice01", kError);
    fanout().blocks.registrationHandler = [](bool, const auto&, const auto&) {};
    fanout().callbackRegitrationSuccess(true, "alice01");
    fanout().callbackRegitrationFailure(false, "alice01", kError);
    EXPECT_THAT(takeLog(), testing::ElementsAre("No registrationHandler for success",
                                                "No registrationHandler for failure",
                                                "calling registrationHandler for success",
                                                "calling registrationHandler for failure"));
}

TEST_F(EventFanoutTest, DropsPostedNotificationsOfAManagerThatIsGone) {
    observeEverything();
    fanout().callBackConnectionStateDidChanged();
    rooms_.reset();
    machine_.runUntilIdle();
    EXPECT_TRUE(heard_->empty());
}

TEST_F(EventFanoutTest, CallsNobodyAfterADelegateThatThrows) {
    addDelegate([] { throw std::runtime_error("host"); });
    setEveryBlock();
    EXPECT_THROW(fanout().callBackConnectionStateDidChanged(), std::runtime_error);
    EXPECT_THAT(*heard_, testing::ElementsAre("delegate: ConnectionState"));
}

TEST_F(EventFanoutTest, PostsOnTheMainLoopWhereThatIsAnother) {
    FakeMachine machine(FakeMachineLoops::MainLoopApart);
    NSObject manager;
    const Home home = machine.makeHome();
    const auto rooms = ClientRooms::make(manager, machine.machine(), home);
    bool wasOnMainLoop = false;
    home.notificationCenter->addObserver(std::string(PushClientDidChangeServerConnectionStateNotification),
                                         nullptr, [&](const NSNotification&) { wasOnMainLoop = true; });
    rooms->fanout.callBackConnectionStateDidChanged();
    machine.runLoop->runUntilIdle();
    EXPECT_FALSE(wasOnMainLoop);
    machine.mainRunLoop->runUntilIdle();
    EXPECT_TRUE(wasOnMainLoop);
}

}  // namespace
}  // namespace xel
