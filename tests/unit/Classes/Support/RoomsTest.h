#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/DelegateOperations.h"
#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/RecordingDiagnostics.h"
#include "tests/unit/Classes/Support/FailureDelegate.h"
#include "tests/unit/Classes/Support/RecordingDelegate.h"
#include "tests/unit/Classes/Support/ScriptedSession.h"

namespace xel {

/// All rooms, wired as in a client, on a fake machine whose broker sessions the test leads.
class RoomsTest : public testing::Test {
protected:
    static constexpr std::string_view kFrameBegin = "\nTAVRINPUSH LOG : ----------------------\n\n ";
    static constexpr std::string_view kFrameEnd = " \n\n----------------------";

    RoomsTest() {
        Machine ports = machine_.machine();
        ports.sessions = sessions_;
        home_ = machine_.makeHome();
        home_.diagnostics = diagnostics_;
        rooms_ = ClientRooms::make(manager_, std::move(ports), home_);
        rooms_->makeQueues();
    }
    ~RoomsTest() override { setDevelopmentEnvironment(false); }

    /// Credentials, alice01, and the device D3V1CE.
    void identify() {
        registerApplication();
        rooms_->settings.setUserId("alice01");
        rooms_->settings.setDeviceId("D3V1CE");
    }
    void registerApplication() {
        rooms_->registration.registerApplication("a1b2c3", "key", "broker-user", "broker-password");
    }
    /// Changes single things of what the application was registered with.
    void changeApplication(const std::function<void(RegisteredApplication&)>& change) {
        auto application = rooms_->settings.application();
        change(application);
        rooms_->settings.setApplication(std::move(application));
    }
    /// Goes through a whole connect of the identified client.
    ScriptedSession& connect() {
        identify();
        rooms_->connection.connectToServer();
        sessions_->latest().connected();
        machine_.runUntilIdle();
        return sessions_->latest();
    }
    void addDelegate(std::function<void()> reaction = nullptr) {
        auto delegate = std::make_shared<RecordingDelegate>(heard_);
        delegate->reaction = std::move(reaction);
        rooms_->fanout.delegates.addDelegate(delegate, operationsOverriddenBy<RecordingDelegate>());
    }
    [[nodiscard]] Heard takeHeard() { return std::exchange(*heard_, {}); }
    void keepFailures() {
        rooms_->fanout.delegates.addDelegate(std::make_shared<FailureDelegate>(failures_),
                                             operationsOverriddenBy<FailureDelegate>());
    }
    /// What an error says under the key; null for nothing.
    [[nodiscard]] static Value detailUnder(std::string_view key, const NSError& error) {
        const Value* detail = error.userInfo.find(key);
        return detail != nullptr ? *detail : Value();
    }
    [[nodiscard]] std::vector<NSError> takeFailures() { return std::exchange(*failures_, {}); }

    void switchLogOn() { rooms_->settings.setEnableLog(true); }
    /// What was logged since the last time, without the frames.
    [[nodiscard]] std::vector<std::string> takeLog() {
        std::vector<std::string> messages;
        for (const std::string_view line : machine_.logSink->lines()) {
            EXPECT_TRUE(line.starts_with(kFrameBegin) && line.ends_with(kFrameEnd)) << line;
            messages.emplace_back(
                line.substr(kFrameBegin.size(), line.size() - kFrameBegin.size() - kFrameEnd.size()));
        }
        machine_.logSink->clear();
        return messages;
    }

    [[nodiscard]] std::vector<std::string> storedTexts(std::string_view key) const {
        std::vector<std::string> texts;
        for (const auto& value : home_.defaults->arrayForKey(key).value_or(Array())) {
            texts.push_back(value.asString() != nullptr ? *value.asString() : "(no text)");
        }
        return texts;
    }
    /// What a process killed now would find.
    [[nodiscard]] std::optional<Value> onDisk(std::string_view key) const {
        const auto store = machine_.disk->contents("home");
        const Value* value = store.settings.find(key);
        return value != nullptr ? std::optional(*value) : std::nullopt;
    }
    [[nodiscard]] std::vector<std::string> wantedTopics() const {
        std::vector<std::string> topics;
        for (const auto& [topic, qos] : rooms_->channels.topics.value_or(TopicTable())) {
            topics.push_back(topic + "@" + std::to_string(qos));
        }
        return topics;
    }

    FakeMachine machine_;
    std::shared_ptr<ScriptedSessions> sessions_ = std::make_shared<ScriptedSessions>();
    std::shared_ptr<RecordingDiagnostics> diagnostics_ = std::make_shared<RecordingDiagnostics>();
    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
    std::shared_ptr<std::vector<NSError>> failures_ = std::make_shared<std::vector<NSError>>();
    NSObject manager_;
    Home home_;
    std::shared_ptr<ClientRooms> rooms_;
};

}  // namespace xel
