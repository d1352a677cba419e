#include "tests/unit/Testing/Simulation/SimulatedServiceTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using NetworkFaults = SimulatedServiceTest;

TEST_F(NetworkFaults, KeepAClientFromConnectingUntilTheyEnd) {
    for (const auto* line : {"network finds no names", "network refuses connections",
                             "network is unreachable", "network stalls", "network goes dead"}) {
        service_.inject(line);
        start();
        machine_.advanceBy(10s);
        EXPECT_NE(state(), "Connected") << line;
        service_.heal();
        machine_.advanceBy(30s);
        EXPECT_EQ(state(), "Connected") << line;
        machine_.kill([this] { push_.reset(); });
    }
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(NetworkFaults, LetNewConnectionsFailAndLeaveOpenOnesAlone) {
    startConnected();
    for (const auto* line : {"network finds no names", "network refuses connections"}) {
        service_.inject(line);
        send(line);
        EXPECT_EQ(state(), "Connected") << line;
    }
    EXPECT_THAT(heard_, SizeIs(2));
}

TEST_F(NetworkFaults, LoseOpenConnectionsWhereNothingCanBeReached) {
    startConnected();
    service_.inject("network is unreachable for 10 s");
    machine_.runUntilIdle();
    EXPECT_NE(state(), "Connected");
    EXPECT_EQ(machine_.broker->connectedCount(), 0U) << "the broker is told too";
    machine_.advanceBy(15s);
    EXPECT_EQ(state(), "Connected");
}

TEST_F(NetworkFaults, FlapByTurns) {
    startConnected();
    service_.inject("network flaps every 10000 ms for 40 s");
    std::string seen;
    for (int i = 0; i < 5; ++i) {
        machine_.advanceBy(9s);
        seen += state() == "Connected" ? "c" : "-";
        machine_.advanceBy(1s);
    }
    EXPECT_EQ(seen, "-c-cc");
}

TEST_F(NetworkFaults, StalledOctetsArriveAtTheEndInOrder) {
    startConnected();
    service_.inject("network stalls for 10 s");
    send("m1");
    EXPECT_TRUE(push_->publish("news", "hello"));
    send("m2");
    takeSent();
    machine_.advanceBy(9s);
    EXPECT_THAT(heard_, IsEmpty());
    EXPECT_THAT(takeSent(), IsEmpty());
    machine_.advanceBy(2s);
    EXPECT_THAT(heard_, ElementsAre("m1", "m2"));
    EXPECT_THAT(takeSent(), ElementsAre("PUBLISH", "PUBACK", "PUBACK"));
    EXPECT_EQ(state(), "Connected");
}

TEST_F(NetworkFaults, ADeadConnectionIsFoundOutByTheClientAndForgottenByTheBroker) {
    startConnected();
    takeSent();
    service_.inject("network goes dead for 1 s");
    EXPECT_TRUE(push_->publish("news", "hello"));
    machine_.advanceBy(1s);
    send("m1");
    machine_.advanceBy(20s);
    EXPECT_EQ(state(), "Connected") << "nobody is told";
    EXPECT_THAT(heard_, IsEmpty()) << "it stays dead";
    EXPECT_THAT(takeSent(), IsEmpty());
    machine_.advanceBy(60s);
    EXPECT_EQ(state(), "Connected");
    EXPECT_THAT(heard_, ElementsAre("m1"));
    push_->disconnectFromServer();
    service_.inject("network goes dead");
    machine_.advanceBy(1h);
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(NetworkFaults, ReadsAreCutOnOpenConnectionsToo) {
    startConnected();
    service_.inject("network cuts reads to 1");
    send("m1");
    EXPECT_THAT(heard_, ElementsAre("m1"));
}

TEST_F(NetworkFaults, AConnectionBreaksBehindTheOctetThatIsNamed) {
    startConnected();
    const auto connection = machine_.network->latest();
    const auto before = connection->written().size();
    service_.inject("network breaks after 7 octets from clients");
    EXPECT_THAT(service_.faults(), SizeIs(1));
    EXPECT_TRUE(push_->publish("news", "hello"));
    machine_.runUntilIdle();
    EXPECT_EQ(connection->written().size(), before + 7);
    EXPECT_NE(state(), "Connected");
    EXPECT_THAT(service_.faults(), IsEmpty()) << "it has struck";
    machine_.advanceBy(5s);
    EXPECT_EQ(state(), "Connected");
    const auto published = machine_.broker->packetsOfType(FakeBrokerPacketType::Publish);
    ASSERT_THAT(published, SizeIs(1)) << "and goes out with the next connection";
}

TEST_F(NetworkFaults, BrokenAtAnyOctetOfASessionNothingIsLost) {
    for (const auto what : {FaultKind::NetworkBreaksToClients, FaultKind::NetworkBreaksFromClients}) {
        std::int64_t octets = 1;
        for (bool isOver = false; !isOver && octets < 1000; ++octets) {
            const Fault fault{what, "", octets};
            SCOPED_TRACE(describeFault(fault));
            FakeMachine machine;
            SimulatedService service(machine);
            service.inject(fault);
            int heard = 0;
            PushClientManager push(machine.machine(), machine.makeHome());
            push.setMessageHandler([&](const PushClientMessage&) { ++heard; });
            push.registerApplication("shop", "key", "user", "password");
            push.registerUser("alice01");
            machine.advanceBy(5s);
            EXPECT_TRUE(push.publish("news", "hello"));
            machine.broker->publish({kTopic, R"({"id":"m1"})", 1, false});
            machine.advanceBy(10s);
            EXPECT_EQ(push.connectionStateString(), "Connected");
            EXPECT_EQ(heard, 1);
            EXPECT_THAT(machine.broker->packetsOfType(FakeBrokerPacketType::Publish), Not(IsEmpty()));
            EXPECT_THAT(machine.broker->faults(), IsEmpty());
            isOver = !service.faults().empty();
        }
        EXPECT_GT(octets, 40) << "too few octets for all this";
        EXPECT_LT(octets, 1000);
    }
}

TEST_F(NetworkFaults, ALinkIsToldUntilTheEnd) {
    startConnected();
    service_.inject("network becomes none for 10 s");
    machine_.advanceBy(1s);
    EXPECT_FALSE(machine_.reachability->reachabilityForInternetConnection()->isReachable());
    machine_.advanceBy(10s);
    EXPECT_TRUE(machine_.reachability->reachabilityForInternetConnection()->isReachable());
    service_.inject("network becomes cellular");
    EXPECT_EQ(machine_.reachability->getConnectionType(), PushClientServerReachabilityCelluarNetworkType);
}

TEST_F(NetworkFaults, TheClockJumpsAndTimersDoNot) {
    const auto before = machine_.clock->now();
    service_.inject("clock jumps -3600 s");
    EXPECT_EQ(machine_.clock->now(), before - 1h);
    service_.inject("clock jumps 7200 s");
    EXPECT_EQ(machine_.clock->now(), before + 1h);
    EXPECT_EQ(machine_.runLoop->elapsed(), 0s);
}

}  // namespace
}  // namespace xel
