#include <atomic>
#include <future>
#include <new>
#include <stdexcept>

#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "tests/integration/desktop/support/PrivateBus.h"

namespace xel {
namespace {

using test::PrivateBus;

class DBusConnectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
    }

    /// What the work answers, or the failure's description.
    template <class Work>
    static std::string answerOf(DBusConnection& connection, Work work) {
        const auto answer = std::make_shared<std::promise<std::string>>();
        connection.perform([answer, work](sdbus::IConnection& bus) { answer->set_value(work(bus)); },
                           [answer](const NSError& error) {
                               answer->set_value("failed " + std::to_string(error.code) + " " +
                                                 error.localizedFailureReason().value_or(""));
                           });
        auto future = answer->get_future();
        return future.wait_for(test::kPatience) == std::future_status::ready ? future.get() : "no answer";
    }

    static std::string uniqueName(DBusConnection& connection) {
        return answerOf(connection, [](sdbus::IConnection& bus) { return bus.getUniqueName(); });
    }
};

TEST_F(DBusConnectionTest, WorkHasTheOpenBusOnAThreadOfItsOwn) {
    const PrivateBus bus;
    DBusConnection connection(bus.address(), "test-bus");
    const auto here = std::this_thread::get_id();
    EXPECT_EQ(answerOf(connection,
                       [here](sdbus::IConnection& open) {
                           return here == std::this_thread::get_id() ? "here" : open.getUniqueName();
                       })
                  .substr(0, 1),
              ":");
    EXPECT_EQ(uniqueName(connection), uniqueName(connection)) << "one connection for all work";
}

TEST_F(DBusConnectionTest, WorkThatRunsOutOfMemoryFailsAlone) {
    const PrivateBus bus;
    DBusConnection connection(bus.address(), "test-bus");
    const std::string name = uniqueName(connection);
    EXPECT_EQ(answerOf(connection, [](sdbus::IConnection&) -> std::string { throw std::bad_alloc(); }),
              "failed 2 org.freedesktop.DBus.Error.NoMemory");
    EXPECT_EQ(answerOf(connection, [](sdbus::IConnection&) -> std::string { throw std::length_error("x"); }),
              "failed 2 org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(uniqueName(connection), name) << "the others go on, on the same connection";
}

TEST_F(DBusConnectionTest, AFailureThatCannotBeToldEndsNothing) {
    const PrivateBus bus;
    DBusConnection connection(bus.address(), "test-bus");
    connection.perform([](sdbus::IConnection&) { throw std::bad_alloc(); },
                       [](const NSError&) { throw std::bad_alloc(); });
    EXPECT_EQ(uniqueName(connection).substr(0, 1), ":");
}

TEST_F(DBusConnectionTest, AMessageThatCannotBeWorkedThroughClosesTheConnection) {
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
    GTEST_SKIP() << "the D-Bus library, which is C, loses some memory to an exception that passes through it";
#endif
#endif
    const PrivateBus bus;
    DBusConnection connection(bus.address(), "test-bus");
    std::promise<void> closed;
    const auto match = std::make_shared<sdbus::Slot>();
    const std::string name = answerOf(connection, [&](sdbus::IConnection& open) {
        connection.atClosing([&closed, match] {
            match->reset();
            closed.set_value();
        });
        *match = open.addMatch("type='signal',member='NameOwnerChanged'",
                               [](sdbus::Message&) { throw std::bad_alloc(); });
        return open.getUniqueName();
    });
    {
        DBusConnection other(bus.address(), "test-other");  // which is a change of owners
        EXPECT_EQ(uniqueName(other).substr(0, 1), ":");
    }
    ASSERT_EQ(closed.get_future().wait_for(test::kPatience), std::future_status::ready);
    const std::string again = uniqueName(connection);
    EXPECT_EQ(again.substr(0, 1), ":");
    EXPECT_NE(again, name) << "the next work opens the bus anew";
}

TEST_F(DBusConnectionTest, AMissingBusIsReportedToEachWork) {
    for (const std::string address : {"", "unix:path=/nonexistent/bus", "no address at all"}) {
        DBusConnection connection(address, "test-bus");
        EXPECT_EQ(uniqueName(connection).substr(0, 9), "failed 1 ") << address;
        EXPECT_EQ(uniqueName(connection).substr(0, 9), "failed 1 ") << address;
    }
}

TEST_F(DBusConnectionTest, AnErrorThatWorkThrowsKeepsItsName) {
    const PrivateBus bus;
    DBusConnection connection(bus.address(), "test-bus");
    EXPECT_EQ(answerOf(connection,
                       [](sdbus::IConnection&) -> std::string {
                           throw sdbus::Error("org.example.Refused", "not today");
                       }),
              "failed 2 org.example.Refused");
}

TEST_F(DBusConnectionTest, SignalsArriveWithoutFurtherWork) {
    const PrivateBus bus;
    DBusConnection listener(bus.address(), "test-listener");
    DBusConnection speaker(bus.address(), "test-speaker");
    auto heard = std::make_shared<std::promise<std::string>>();
    ASSERT_EQ(answerOf(listener,
                       [heard, &listener](sdbus::IConnection& open) {
                           auto match = std::make_shared<sdbus::Slot>(open.addMatch(
                               "interface='org.example.Bell'", [heard](sdbus::Message& message) {
                                   std::string text;
                                   message >> text;
                                   heard->set_value(text);
                               }));
                           listener.atClosing([match] { match->reset(); });
                           return std::string("listening");
                       }),
              "listening");
    (void)answerOf(speaker, [](sdbus::IConnection& open) {
        const auto object = sdbus::createObject(open, "/bell");
        auto signal = object->createSignal("org.example.Bell", "Rang");
        signal << "ding";
        object->emitSignal(signal);
        return std::string();
    });
    auto future = heard->get_future();
    ASSERT_EQ(future.wait_for(test::kPatience), std::future_status::ready);
    EXPECT_EQ(future.get(), "ding");
}

TEST_F(DBusConnectionTest, ALostBusClosesAndTheNextWorkOpensTheNewOne) {
    PrivateBus bus;
    DBusConnection connection(bus.address(), "test-bus");
    std::atomic<int> closings = 0;
    ASSERT_EQ(answerOf(connection,
                       [&](sdbus::IConnection&) {
                           connection.atClosing([&] { ++closings; });
                           return std::string("open");
                       }),
              "open");
    bus.stop();
    EXPECT_TRUE(test::eventually([&] { return closings == 1; })) << "noticed without any work";
    EXPECT_EQ(uniqueName(connection).substr(0, 9), "failed 1 ");
    bus.start();
    EXPECT_EQ(uniqueName(connection).substr(0, 1), ":");
    EXPECT_EQ(closings, 1);
}

TEST_F(DBusConnectionTest, DroppingItClosesTheBusBeforeItReturns) {
    const PrivateBus bus;
    bool isClosed = false;
    {
        DBusConnection connection(bus.address(), "test-bus");
        (void)answerOf(connection, [&](sdbus::IConnection&) {
            connection.atClosing([&] { isClosed = true; });
            return std::string();
        });
        EXPECT_FALSE(isClosed);
    }
    EXPECT_TRUE(isClosed);
}

TEST_F(DBusConnectionTest, WhatWorkHoldsIsReleasedWithTheConnection) {
    const PrivateBus bus;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> weak = held;
    std::promise<void> hasBegun;
    std::promise<void> mayEnd;
    auto connection = std::make_unique<DBusConnection>(bus.address(), "test-bus");
    connection->perform([&hasBegun, waiting = mayEnd.get_future().share()](sdbus::IConnection&) {
        hasBegun.set_value();
        waiting.wait();
    });
    // A connection that is still being opened is not waited for.
    hasBegun.get_future().wait();
    connection->perform([held](sdbus::IConnection&) { *held = 1; });
    std::thread dropping([&] { connection.reset(); });
    held.reset();
    mayEnd.set_value();
    dropping.join();
    EXPECT_TRUE(weak.expired());
}

TEST_F(DBusConnectionTest, ADaemonThatNeverAnswersDoesNotHoldTheEndUp) {
    const contract::TemporaryFolder folder;
    const std::string path = folder.path() + "/bus";
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(listening, 1), 0);
    auto connection = std::make_unique<DBusConnection>("unix:path=" + path, "test-bus");
    connection->perform([](sdbus::IConnection&) { ADD_FAILURE() << "there is no bus"; });
    // Somebody looks whether there is a daemon; then a greeting comes, and gets no answer.
    int accepted = ::accept(listening, nullptr, nullptr);
    char octet = 0;
    if (::recv(accepted, &octet, 1, 0) == 0) {
        ::close(accepted);
        accepted = ::accept(listening, nullptr, nullptr);
        ASSERT_EQ(::recv(accepted, &octet, 1, 0), 1);
    }
    auto dropped = std::async(std::launch::async, [&] { connection.reset(); });
    EXPECT_EQ(dropped.wait_for(test::kPatience), std::future_status::ready);
    ::close(accepted);
    ::close(listening);
}

TEST_F(DBusConnectionTest, MayBeDroppedOnItsOwnThread) {
    const PrivateBus bus;
    auto connection = std::make_shared<DBusConnection>(bus.address(), "test-bus");
    std::promise<void> isClosed;
    auto* raw = connection.get();
    raw->perform([kept = std::move(connection), &isClosed](sdbus::IConnection&) mutable {
        kept->atClosing([&isClosed] { isClosed.set_value(); });
        kept.reset();
    });
    EXPECT_EQ(isClosed.get_future().wait_for(test::kPatience), std::future_status::ready);
}

}  // namespace
}  // namespace xel
