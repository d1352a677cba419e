#include "tests/unit/Testing/Simulation/SimulatedServiceTest.h"

#include <stdexcept>

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(SimulatedServiceTest, EndsAFaultAfterItsTime) {
    startConnected();
    service_.inject("broker stops listening for 30 s");
    service_.inject("broker ends connections");
    machine_.advanceBy(29s);
    EXPECT_EQ(state(), "Error");
    EXPECT_THAT(service_.faults(), ElementsAre(Fault{FaultKind::BrokerStopsListening, "", 0, 30s}));
    machine_.advanceBy(5s);
    EXPECT_EQ(state(), "Connected");
    EXPECT_THAT(service_.faults(), IsEmpty());
}

TEST_F(SimulatedServiceTest, LetsAFaultOfUnknownLengthLastUntilItIsHealed) {
    startConnected();
    service_.inject("broker stops listening");
    service_.inject("broker ends connections");
    machine_.advanceBy(1h);
    EXPECT_NE(state(), "Connected");
    service_.heal();
    machine_.advanceBy(5s);
    EXPECT_EQ(state(), "Connected");
}

TEST_F(SimulatedServiceTest, HealsOneKindAlone) {
    service_.inject("broker refuses with 3");
    service_.inject("broker grants a 128");
    service_.inject("broker grants b 128");
    service_.heal(FaultKind::BrokerGrants);
    EXPECT_THAT(service_.faults(), ElementsAre(Fault{FaultKind::BrokerRefuses, "", 3, 0ms}));
}

TEST_F(SimulatedServiceTest, PutsAFaultInThePlaceOfOneOfItsKindAndText) {
    service_.inject("broker refuses with 3 for 1 s");
    service_.inject("broker refuses with 2 for 10 s");
    machine_.advanceBy(5s);
    EXPECT_THAT(service_.faults(), ElementsAre(Fault{FaultKind::BrokerRefuses, "", 2, 10s}));
}

TEST_F(SimulatedServiceTest, KeepsItsFaultsWhenAClientIsKilled) {
    startConnected();
    service_.inject("broker stops listening for 30 s");
    push_.reset();
    machine_.discardPostedWork();
    start();
    EXPECT_NE(state(), "Connected");
    machine_.advanceBy(32s);
    EXPECT_EQ(state(), "Connected");
}

TEST_F(SimulatedServiceTest, KnowsWhatToDoForEveryKindAndAClientIsConnectedAfterAll) {
    startConnected();
    for (const auto& form : faultForms()) {
        Fault fault{form.what, "", form.least, 1s};
        if (form.hasText()) {
            fault.on = form.choices().empty() ? "x" : std::string(form.choices().front());
        }
        if (form.span == FaultSpan::Momentary) {
            fault.duration = 0s;
        }
        SCOPED_TRACE(describeFault(fault));
        try {
            service_.inject(fault);
            EXPECT_THAT(service_.faults(), SizeIs(form.span == FaultSpan::Momentary ? 0 : 1));
            machine_.advanceBy(2s);
            EXPECT_THAT(service_.faults(), IsEmpty());
            send("m");
        } catch (const ProcessKilled&) {
            machine_.kill([this] { push_.reset(); });
            start();
        }
    }
    machine_.advanceBy(1h);
    EXPECT_EQ(state(), "Connected");
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(SimulatedServiceTest, RefusesALineThatItCannotRead) {
    EXPECT_THROW(service_.inject("broker stops"), std::invalid_argument);
}

TEST_F(SimulatedServiceTest, WritesDownWhatHappensAndNoSecrets) {
    std::vector<std::string> lines;
    service_.setTrace([&](std::string_view line) { lines.emplace_back(line); });
    startConnected();
    service_.inject("broker refuses with 5 for 1 s");
    machine_.advanceBy(2s);
    EXPECT_THAT(lines, Contains("0.000 broker < shop/alice01/D1 CONNECT shop/alice01/D1 keep-alive 180 s"));
    EXPECT_THAT(lines, Contains("0.000 broker > shop/alice01/D1 CONNACK 0"));
    EXPECT_THAT(lines, Contains(HasSubstr("backend > POST https://")));
    EXPECT_THAT(lines, Contains(HasSubstr("disk home shop/alice01/D1: granted topics")));
    EXPECT_THAT(lines, Contains("1.000 fault begins: broker refuses with 5 for 1 s"));
    EXPECT_THAT(lines, Contains("2.000 fault ends: broker refuses with 5 for 1 s"));
    for (const auto* secret : {"password", "key"}) {
        EXPECT_THAT(lines, Not(Contains(HasSubstr(std::string("=") + secret)))) << secret;
        EXPECT_THAT(lines, Not(Contains(HasSubstr(std::string(" ") + secret + " ")))) << secret;
    }
}

}  // namespace
}  // namespace xel
