#include "tests/unit/Classes/Support/EndingHost.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <utility>

#include "tests/ClientNotifications.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kClientId = "a1b2c3/alice01/D3V1CE";
constexpr std::array kLifecycleNotifications = {
    UIApplicationWillTerminateNotification, UIApplicationDidBecomeActiveNotification,
    UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
    UIApplicationWillResignActiveNotification};

FakeMachineLoops loopsFor(Ending ending) {
    return ending == Ending::ManagerOfApartLoops ? FakeMachineLoops::MainLoopApart : FakeMachineLoops::One;
}

}  // namespace

EndingHost::EndingHost(Ending ending, std::optional<std::size_t> fatal)
    : ending_(ending),
      fatal_(fatal),
      machine_(std::make_unique<FakeMachine>(loopsFor(ending))),
      runLoop_(machine_->runLoop),
      mainRunLoop_(machine_->mainRunLoop) {
    Home home = machine_->makeHome();
    const auto observe = [&](std::string_view name) {
        // Two for each: the second one must not hear of a client that the first one has ended.
        for (int i = 0; i < 2; ++i) {
            home.notificationCenter->addObserver(
                std::string(name), nullptr,
                [this](const NSNotification& notification) { hear("notification: " + notification.name); });
        }
    };
    std::for_each(kClientNotifications.begin(), kClientNotifications.end(), observe);
    std::for_each(kLifecycleNotifications.begin(), kLifecycleNotifications.end(), observe);
    manager_ = std::make_unique<PushClientManager>(machine_->machine(), std::move(home));
    listen();
}

EndingHost::~EndingHost() {
    manager_.reset();
    machine_.reset();
}

void EndingHost::hear(const std::string& what) {
    // The application's own notifications, and answers to single requests, are not the client's reports.
    const bool isReport = !what.starts_with("answer: ") && !what.starts_with("notification: UIApplication");
    if (manager_ == nullptr && isReport) {
        reportedAfterEnd_.push_back(what);
    }
    heard_->push_back(what);
    if (fatal_ && heard_->size() == *fatal_ + 1) {
        end();
    }
}

void EndingHost::end() {
    manager_.reset();
    if (ending_ == Ending::ManagerAndMachine) {
        machine_.reset();
    }
}

void EndingHost::listen() {
    for (int i = 0; i < 2; ++i) {
        // It writes into a record of its own, of which the last line goes on to this one.
        const auto lines = std::make_shared<Heard>();
        auto delegate = std::make_shared<NotifyingDelegate>(lines);
        delegate->reaction = [this, lines] { hear(lines->back()); };
        manager_->addDelegate(std::move(delegate));
    }
    setBlocks();
}

void EndingHost::setBlocks() {
    manager_->setMessageHandler([this](const auto&) { hear("block: message"); });
    manager_->setMessageUILocalNotificationHandler([this](const auto&) { hear("block: UILocal"); });
    manager_->setRegistrationHandler([this](const auto&...) { hear("block: registration"); });
    manager_->setServerConnectionStateHandler([this] { hear("block: state"); });
    manager_->setServerReachabilityHandler([this](const auto&...) { hear("block: reachability"); });
    manager_->setVerificationHandler([this](const auto&...) { hear("block: verification"); });
    manager_->setVerifiyUserCodeHandler([this](const auto&...) { hear("block: verifyUserCode"); });
}

void EndingHost::drive() {
    // The machine may go meanwhile.
    while (runLoop_->hasWorkDue() || mainRunLoop_->hasWorkDue()) {
        runLoop_->runUntilIdle();
        mainRunLoop_->runUntilIdle();
    }
}

void EndingHost::step(const std::function<void()>& work) {
    if (manager_ != nullptr) {
        work();
        drive();
    }
}

void EndingHost::live() {
    drive();
    meetRefusals();
    registerAndConnect();
    receive();
    answerRequests();
    loseAndFind();
    goToTheBackground();
    changeIdentity();
    drive();
}

void EndingHost::meetRefusals() {
    step([this] { manager_->registerApplication(std::nullopt, "key", "user", "password"); });
    step([this] { manager_->applicationCrashedWithUserInfo({}); });
    step([this] { manager_->addTag("", {}, [this](const NSError&) { hear("answer: tag refused"); }); });
    step([this] { manager_->requestVerificationCode(""); });
    step([this] { manager_->requestVerificationCode("alice01"); });  // before the registration
    step([this] { manager_->verifyUserCode("alice01", ""); });
    step([this] { manager_->registerApplication("a1b2c3", "key", "broker-user", "broker-password"); });
    step([this] { manager_->registerUser("ab"); });
    step([this] { manager_->registerUser("ab", {}, [this](const auto&...) { hear("block: own"); }); });
    step([this] { setBlocks(); });
    step([this] { manager_->subscribe("bad#"); });
    step([this] { manager_->unsubscribe("bad#"); });
    step([this] { manager_->publish("bad#", "text"); });
    step([this] { manager_->subscribeEvent(""); });
}

void EndingHost::registerAndConnect() {
    step([this] {
        manager_->enqueueWhenSessionIsConnected([this] { hear("answer: connected"); });
        machine_->http->fail("POST", "installations", NSURLErrorCode::NotConnectedToInternet, "no network");
        manager_->registerUser("alice01", {"news"});
    });
    step([this] { manager_->registerUser("alice01", {"bad#"}); });
    step([this] {
        machine_->http->answerAlways("POST", "installations", 200, R"({"id":"D3V1CE"})");
        machine_->http->answerAlways("PUT", "installations*", 200, R"({"id":"D3V1CE"})");
        manager_->registerDeviceToServer();
    });
    step([this] { manager_->subscribeEvent("login"); });
    step([this] { manager_->subscribe("sport"); });
    step([this] { manager_->unsubscribe("sport"); });
    step([this] { manager_->unsubscribeEvent("login"); });
    // Names that the session finds it cannot send.
    step([this] { manager_->subscribeList({"cannot\1be sent", "can"}); });
    step([this] { manager_->publish("cannot\1be sent", "text"); });
}

void EndingHost::receive() {
    step([this] {
        const std::string own = "app/" + std::string("a1b2c3/user/alice01/D3V1CE");
        (void)machine_->broker->publishTo(kClientId, {own, R"({"id":"m1","messageBody":"first"})"});
        (void)machine_->broker->publishTo(kClientId, {own, R"({"id":"m2","messageBody":"second"})"});
        (void)machine_->broker->publishTo(kClientId, {"app/a1b2c3/event/login/X9", R"({"id":"e1"})"});
        (void)machine_->broker->publishTo(kClientId, {"app/a1b2c3/delivery/alice01/m3", "bob-:-D2-:-1"});
    });
    step([this] { (void)machine_->notificationCenter->respond({"open", {"n1", {}}}); });
    step([this] {
        manager_->applicationDidReceiveRemoteNotification(*machine_->application, {},
                                                          [this](int) { hear("answer: fetch"); });
    });
}

void EndingHost::answerRequests() {
    step([this] {
        machine_->http->answer("GET", "verification/requestCode/alice01", 200, R"({"result":true})");
        manager_->requestVerificationCode("alice01");
    });
    step([this] {
        machine_->http->answer("GET", "verification/requestCode/alice01", 500, "{}");
        manager_->requestVerificationCode("alice01");
    });
    step([this] {
        machine_->http->answer("GET", "verification/verifyCode/alice01/1234", 200, R"({"result":true})");
        manager_->verifyUserCode("alice01", "1234");
    });
    step([this] {
        machine_->http->answer("GET", "installations/addTag*", 200, R"({"count":1})");
        manager_->addTag("vip", [this](std::int64_t) { hear("answer: tag"); });
    });
    step([this] {
        machine_->urlSession->answer("https://media/a", 200, "octets");
        manager_->downloadDataForUrlString("https://media/a", "image",
                                           [this](const auto&) { hear("answer: media"); });
    });
    step([this] {
        machine_->urlSession->answer("https://media/b", 404, "");
        manager_->loadAttachmentForUrlString("https://media/b", "image",
                                             [this](const auto&) { hear("answer: attachment"); });
    });
    step([this] {
        for (int i = 0; i < 2; ++i) {
            manager_->instanceCoreGeoLocation().requestSingleLocation(
                [this](const auto&) { hear("answer: location"); });
        }
        machine_->locationSource->standAt({35.7, 51.4}, 5.0);
    });
    step([this] {
        machine_->locationSource->standAt({35.7, 51.4}, 5000.0);
        manager_->instanceCoreGeoLocation().requestSingleLocation(
            [this](const auto&) { hear("answer: no location"); });
        runLoop_->advanceBy(31s);
    });
}

void EndingHost::loseAndFind() {
    step([this] {
        machine_->reachability->setNetwork(false, PushClientServerReachabilityNoNetworkFoundType);
    });
    step([this] { machine_->broker->dropConnections(); });
    step([this] { machine_->reachability->setNetwork(true, PushClientServerReachabilityWifiNetworkType); });
    step([this] { machine_->broker->endConnections(); });
    step([this] { runLoop_->advanceBy(4s); });
    step([this] { manager_->disconnectFromServer(); });
    step([this] {
        machine_->broker->setConnectReturnCode(5);
        manager_->connectToServer();
    });
    step([this] {
        machine_->broker->setConnectReturnCode(0);
        manager_->connectToServer();
    });
}

void EndingHost::goToTheBackground() {
    // Through the bare object, as a host may that holds no reference of its own.
    for (const auto happen : {&FakeApplication::willResignActive, &FakeApplication::didEnterBackground,
                              &FakeApplication::expireBackgroundTasks, &FakeApplication::willEnterForeground,
                              &FakeApplication::didBecomeActive, &FakeApplication::willTerminate}) {
        step([this, happen] {
            FakeApplication& application = *machine_->application;
            (application.*happen)();
        });
    }
    step([this] { manager_->connectToServer(); });
}

void EndingHost::changeIdentity() {
    step([this] {
        machine_->http->answerAlways("PUT", "installations*", 200, R"({"id":"D4"})");
        manager_->registerDeviceToServer();
    });
    step([this] {
        machine_->http->answerAlways("PUT", "installations*", 404,
                                     R"({"error":{"status":404,"code":"MODEL_NOT_FOUND"}})");
        manager_->registerDeviceToServer();
    });
    step([this] {
        machine_->http->answer("DELETE", "installations*", 200, R"({"count":1})");
        manager_->registerAgainWithUserId("bob0001", {"news"});
    });
    step([this] {
        machine_->http->answer("DELETE", "installations*", 200, R"({"count":1})");
        manager_->unregisterUser([this](const Value&) { hear("answer: removed"); });
    });
    step([this] {
        manager_->registerUser("carol01");
        drive();
    });
    step([this] { manager_->reset(); });
}

}  // namespace xel
