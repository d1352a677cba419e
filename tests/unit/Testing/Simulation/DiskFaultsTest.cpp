#include "tests/unit/Testing/Simulation/SimulatedServiceTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using DiskFaults = SimulatedServiceTest;

TEST_F(DiskFaults, StoreNothingUntilTheyAreHealed) {
    for (const auto* line : {"disk fails", "disk is full"}) {
        service_.inject(line);
        const auto home = machine_.makeHome("other");
        home.defaults->setObject("key", line);
        EXPECT_FALSE(home.defaults->synchronize()) << line;
        EXPECT_EQ(machine_.files->writeNewFile("x", std::string("/") + line).isOk(),
                  std::string(line) == "disk fails");
        service_.heal();
        EXPECT_TRUE(home.defaults->synchronize()) << line;
        EXPECT_TRUE(machine_.files->writeNewFile("x", std::string("/again ") + line)) << line;
    }
}

TEST_F(DiskFaults, OverlapWithoutEndingOneAnother) {
    service_.inject("disk fails for 1 s");
    service_.inject("disk is full for 10 s");
    machine_.advanceBy(5s);
    const auto home = machine_.makeHome("other");
    home.defaults->setObject("key", 1);
    EXPECT_FALSE(home.defaults->synchronize());
}

TEST_F(DiskFaults, HeldTurnsAreAcknowledgedAtTheEnd) {
    startConnected();
    service_.inject("disk holds-turns for 5 s");
    takeSent();
    send("m1");
    machine_.advanceBy(4s);
    EXPECT_THAT(takeSent(), IsEmpty());
    machine_.advanceBy(2s);
    EXPECT_THAT(takeSent(), ElementsAre("PUBACK"));
}

TEST_F(DiskFaults, TheProcessDiesBeforeAWriteOrAfterIt) {
    for (const bool isAfter : {false, true}) {
        service_.inject(isAfter ? "disk kills after write 2" : "disk kills before write 2");
        EXPECT_THAT(service_.faults(), SizeIs(1));
        const std::string name = isAfter ? "after" : "before";
        auto home = machine_.makeHome(name);
        const auto store = [&](const char* key) {
            home.defaults->setObject(key, 1);
            return home.defaults->synchronize();
        };
        EXPECT_TRUE(store("first"));
        EXPECT_THROW(static_cast<void>(store("second")), ProcessKilled);
        EXPECT_TRUE(machine_.disk->isProcessDead());
        EXPECT_THAT(service_.faults(), IsEmpty()) << "it has struck";
        EXPECT_TRUE(store("third")) << "a dead process is told no more";
        machine_.kill([&] { home = Home(); });
        EXPECT_FALSE(machine_.disk->isProcessDead());
        const auto settings = machine_.disk->contents(name).settings;
        EXPECT_NE(settings.find("first"), nullptr);
        EXPECT_EQ(settings.find("second") != nullptr, isAfter);
        EXPECT_EQ(settings.find("third"), nullptr);
    }
}

/// A life of a host on a service of its own, which a fault may end, and another life after it.
class TwoLives {
public:
    explicit TwoLives(const Fault& fault) {
        service_.inject(fault);
        try {
            live();
        } catch (const ProcessKilled&) {
            wasKilled_ = true;
            machine_.kill([this] { push_.reset(); });
            begin();
            machine_.advanceBy(5s);
        }
    }

    [[nodiscard]] bool wasKilled() const { return wasKilled_; }

    void expectNothingLost() const {
        EXPECT_EQ(push_->connectionStateString(), "Connected");
        EXPECT_GE(heard_, wasMessageSent_ ? 1 : 0);
        EXPECT_LE(heard_, wasKilled_ ? 2 : 1);
        if (wasPublished_) {
            EXPECT_THAT(machine_.broker->packetsOfType(FakeBrokerPacketType::Publish), Not(IsEmpty()));
        }
        EXPECT_THAT(machine_.broker->faults(), IsEmpty());
    }

private:
    void begin() {
        push_ = std::make_unique<PushClientManager>(machine_.machine(), machine_.makeHome());
        push_->setMessageHandler([this](const PushClientMessage&) { ++heard_; });
        push_->registerApplication("shop", "key", "user", "password");
        push_->registerUser("alice01");
        machine_.advanceBy(1s);
    }

    void live() {
        begin();
        wasMessageSent_ = true;
        machine_.broker->publish({"app/shop/user/alice01/default", R"({"id":"m1"})", 1, false});
        machine_.advanceBy(1s);
        push_->subscribe("news");
        wasPublished_ = push_->publish("news", "hello");
        machine_.advanceBy(1s);
        push_->unsubscribe("news");
        machine_.advanceBy(1s);
    }

    FakeMachine machine_;
    SimulatedService service_{machine_};
    std::unique_ptr<PushClientManager> push_;
    bool wasKilled_ = false;
    bool wasMessageSent_ = false;
    bool wasPublished_ = false;
    int heard_ = 0;
};

TEST(KillPoints, LoseNothingAtAnyWriteOfALife) {
    PushClientManager::setDevelopment(true);
    for (const auto what : {FaultKind::DiskKillsBeforeWrite, FaultKind::DiskKillsAfterWrite}) {
        std::int64_t write = 1;
        for (bool isOver = false; !isOver && write < 100; ++write) {
            const Fault fault{what, "", write, 0ms};
            SCOPED_TRACE(describeFault(fault));
            const TwoLives lives(fault);
            lives.expectNothingLost();
            isOver = !lives.wasKilled();
        }
        EXPECT_GT(write, 8) << "too few writes for all this";
        EXPECT_LT(write, 100) << "a life without an end of its writes";
    }
    PushClientManager::setDevelopment(false);
}

}  // namespace
}  // namespace xel
