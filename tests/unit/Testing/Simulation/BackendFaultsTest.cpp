#include <set>
#include <stdexcept>

#include "tests/unit/Testing/Simulation/SimulatedServiceTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SimulatedBackendTest : public SimulatedServiceTest {
protected:
    /// The status of the answer; or the negative code of the transport's failure. 0: none yet.
    int ask(const std::string& method, const std::string& path, const std::string& body = "{}") {
        answer_ = 0;
        machine_.http->send({method, "https://backend/api/" + path + "?access_token=key", {}, body},
                            [this](const Result<HTTPResponse>& result) {
                                answer_ =
                                    result ? result.value().status : static_cast<int>(result.error().code);
                                body_ = result ? result.value().body : "";
                            });
        machine_.runUntilIdle();
        return answer_;
    }

    int answer_ = 0;
    std::string body_;
};

TEST_F(SimulatedBackendTest, KeepsInstallationsByTheirIds) {
    EXPECT_EQ(ask("PUT", "installations/D1"), 404);
    EXPECT_EQ(ask("POST", "installations", R"({"userId":"alice01"})"), 200);
    EXPECT_EQ(body_, R"({"userId":"alice01","id":"D1"})");
    EXPECT_EQ(ask("POST", "installations", "[]"), 400);
    EXPECT_EQ(ask("PUT", "installations/D1", R"({"userId":"bob01"})"), 200);
    ASSERT_THAT(service_.backend().installations(), SizeIs(1));
    EXPECT_EQ(*service_.backend().installations().at("D1").find("userId"), Value("bob01"));
    EXPECT_EQ(ask("DELETE", "installations/D1"), 200);
    EXPECT_EQ(ask("DELETE", "installations/D1"), 404);
    EXPECT_EQ(ask("GET", "nothing"), 404);
}

TEST_F(SimulatedBackendTest, KeepsCodesTagsAndCrashReports) {
    EXPECT_EQ(ask("GET", "verification/verifyCode/alice01/1000"), 200);
    EXPECT_EQ(body_, R"({"result":false})");
    EXPECT_EQ(ask("GET", "verification/requestCode/alice01"), 200);
    const auto code = service_.backend().verificationCodeOf("alice01");
    ask("GET", "verification/verifyCode/alice01/" + code);
    EXPECT_EQ(body_, R"({"result":true})");
    ask("GET", "installations/addTag/alice01/vip");
    ask("GET", "installations/addTag/bob01/vip");
    EXPECT_EQ(body_, R"({"count":2})");
    ask("GET", "installations/removeTag/alice01/vip");
    EXPECT_EQ(body_, R"({"count":1})");
    EXPECT_THAT(service_.backend().tagsOf("bob01"), ElementsAre("vip"));
    EXPECT_EQ(ask("POST", "crashReports"), 200);
    EXPECT_EQ(service_.backend().crashReportCount(), 1U);
}

TEST_F(SimulatedBackendTest, LeavesToTestsWhatTheyArrange) {
    machine_.http->answer("POST", "installations", 503, "");
    EXPECT_EQ(ask("POST", "installations"), 503);
    EXPECT_EQ(ask("POST", "installations"), 200);
    service_.backend().setServing(false);
    EXPECT_EQ(ask("POST", "installations"), 0);
    EXPECT_EQ(machine_.http->waitingCount(), 1U);
}

TEST_F(SimulatedBackendTest, AnswersNobodyWhoHasDied) {
    service_.inject("backend delays answers by 100 ms");
    EXPECT_EQ(ask("POST", "installations"), 0);
    machine_.discardPostedWork();
    machine_.advanceBy(1s);
    EXPECT_EQ(answer_, 0);
    EXPECT_THAT(service_.backend().installations(), SizeIs(1)) << "what was asked for is done";
}

TEST_F(SimulatedBackendTest, FaultsSpoilItsAnswers) {
    struct Case {
        const char* fault;
        int answer;
        const char* body;
        bool isDone;
    };
    const std::vector<Case> cases{
        {"backend refuses connections", -1004, "", false},
        {"backend falls silent", 0, "", false},
        {"backend loses answers", -1005, "", true},
        {"backend answers garbage", 200, R"({"id": "D1)", true},
        {"backend answers 503", 503, R"({"error":{"status":503,"message":"the backend is in trouble"}})",
         false},
        {"backend answers 201", 201, R"({"id":"D1"})", true},
        {"backend delays answers by 5 ms", 0, "", true},
        {"backend gives no id", 200, "{}", true},
        {"backend gives the id X9", 200, R"({"id":"X9"})", true},
    };
    for (const auto& [fault, answer, body, isDone] : cases) {
        FakeMachine machine;
        SimulatedService service(machine);
        service.inject(fault);
        int status = 0;
        std::string text;
        machine.http->send(
            {"POST", "https://backend/api/installations", {}, "{}"}, [&](const Result<HTTPResponse>& result) {
                status = result ? result.value().status : static_cast<int>(result.error().code);
                text = result ? result.value().body : "";
            });
        machine.runUntilIdle();
        EXPECT_EQ(status, answer) << fault;
        EXPECT_EQ(text, body) << fault;
        EXPECT_EQ(service.backend().installations().size(), isDone ? 1U : 0U) << fault;
        machine.advanceBy(1min);
        EXPECT_NE(status, 0) << fault;
    }
}

TEST_F(SimulatedBackendTest, AClientConnectsOnceEachIsHealed) {
    for (const auto& form : faultForms()) {
        if (!form.line.starts_with("backend") || form.span != FaultSpan::Lasting) {
            continue;
        }
        const Fault fault{form.what, form.hasText() ? "X9" : "", form.most};
        SCOPED_TRACE(describeFault(fault));
        service_.inject(fault);
        start();
        machine_.advanceBy(5min);
        service_.heal();
        push_->registerUser("alice01");
        machine_.advanceBy(24h);
        EXPECT_EQ(state(), "Connected");
        machine_.kill([this] { push_.reset(); });
    }
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(SimulatedBackendTest, AForgottenInstallationIsRegisteredAnew) {
    startConnected();
    service_.inject("backend forgets installations");
    push_->registerUser("alice01");
    machine_.advanceBy(10s);
    EXPECT_EQ(state(), "Connected");
    EXPECT_TRUE(machine_.broker->isConnected("shop/alice01/D2"));
}

}  // namespace
}  // namespace xel
