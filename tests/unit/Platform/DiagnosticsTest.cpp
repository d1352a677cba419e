#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Platform/Diagnostics.h"
#include "XelPushClient/Testing/RecordingDiagnostics.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

const ConnectionAttempt kSecond{2, "push.example", 4443, true};
const DiagnosticError kRefusal{"MQTT", 5, "not authorized"};

struct RecordCase {
    const char* name;
    DiagnosticRecord record;
    bool isFailure;
    const char* fields;
    const char* sentence;
};

const RecordCase kRecords[] = {
    {"AttemptStarted", ConnectionAttemptStarted{kSecond}, false,
     R"({"type":"connection-attempt-started","attempt":2,"host":"push.example","port":4443,"transport":"tls"})",
     "connection attempt 2 to push.example:4443 by TLS begins"},
    {"AttemptConnected",
     ConnectionAttemptEnded{
         {1, "localhost", 1880, false}, ConnectionAttemptOutcome::Connected, std::nullopt, milliseconds(12)},
     false,
     R"({"type":"connection-attempt-ended","attempt":1,"host":"localhost","port":1880,"transport":"tcp",)"
     R"("outcome":"connected","durationMs":12})",
     "connection attempt 1 to localhost:1880 without TLS connected after 12 ms"},
    {"AttemptRefused",
     ConnectionAttemptEnded{kSecond, ConnectionAttemptOutcome::Refused, kRefusal, milliseconds(40)}, true,
     R"({"type":"connection-attempt-ended","attempt":2,"host":"push.example","port":4443,"transport":"tls",)"
     R"("outcome":"refused","durationMs":40,"errorDomain":"MQTT","errorCode":5,)"
     R"("errorDescription":"not authorized"})",
     "connection attempt 2 to push.example:4443 by TLS refused after 40 ms: not authorized"},
    {"Lost", ConnectionLost{kSecond, kRefusal, milliseconds(60'000)}, true,
     R"({"type":"connection-lost","attempt":2,"host":"push.example","port":4443,"transport":"tls",)"
     R"("durationMs":60000,"errorDomain":"MQTT","errorCode":5,"errorDescription":"not authorized"})",
     "connection 2 to push.example:4443 by TLS lost after 60000 ms: not authorized"},
    {"DisconnectEnded", DisconnectEnded{true, milliseconds(3)}, false,
     R"({"type":"disconnect-ended","everythingWasSent":true,"durationMs":3})", "disconnect ended after 3 ms"},
    {"DisconnectCutShort", DisconnectEnded{false, milliseconds(5000)}, true,
     R"({"type":"disconnect-ended","everythingWasSent":false,"durationMs":5000})",
     "disconnect ended after 5000 ms, not everything was sent"},
    {"Duplicate",
     PublicationDropped{.kind = PublicationKind::Event,
                        .reason = PublicationDropReason::Duplicate,
                        .topic = "app/a/event/login/X9",
                        .id = "e1"},
     false,
     R"({"type":"publication-dropped","direction":"inbound","kind":"event","reason":"duplicate",)"
     R"("topic":"app/a/event/login/X9","id":"e1"})",
     "inbound event on app/a/event/login/X9 with id e1 dropped, duplicate"},
    {"Expired",
     PublicationDropped{.reason = PublicationDropReason::Expired,
                        .topic = "t",
                        .expireTime = dateFromMillisecondsSince1970(1'514'800'000'000)},
     false,
     R"({"type":"publication-dropped","direction":"inbound","kind":"message","reason":"expired","topic":"t",)"
     R"("expireTimeMs":1514800000000})",
     "inbound message on t dropped, expired"},
    {"GivenUp",
     PublicationDropped{.direction = PublicationDirection::Outbound,
                        .reason = PublicationDropReason::GivenUp,
                        .topic = "t",
                        .error = kRefusal},
     true,
     R"({"type":"publication-dropped","direction":"outbound","kind":"message","reason":"given-up","topic":"t",)"
     R"("errorDomain":"MQTT","errorCode":5,"errorDescription":"not authorized"})",
     "outbound message on t dropped, given-up: not authorized"},
    {"OneAtATime",
     PublicationDropped{.direction = PublicationDirection::Outbound,
                        .reason = PublicationDropReason::OneAtATime,
                        .topic = "t"},
     true,
     R"({"type":"publication-dropped","direction":"outbound","kind":"message","reason":"one-at-a-time",)"
     R"("topic":"t"})",
     "outbound message on t dropped, one-at-a-time"},
    {"CrashKept", CrashReportEnded{.id = "c7"}, false,
     R"({"type":"crash-report-ended","outcome":"kept","id":"c7"})", "crash report kept as c7"},
    {"CrashNotKept", CrashReportEnded{.error = DiagnosticError{"NSURLErrorDomain", -1001, "too late"}}, true,
     R"({"type":"crash-report-ended","outcome":"failed","errorDomain":"NSURLErrorDomain","errorCode":-1001,)"
     R"("errorDescription":"too late"})",
     "crash report not kept: too late"},
};

class DiagnosticRecords : public testing::TestWithParam<RecordCase> {};

TEST_P(DiagnosticRecords, AreTellableAsFieldsAndAsASentence) {
    const RecordCase& row = GetParam();
    EXPECT_EQ(printJSON(diagnosticFields(row.record), JSONLayout::OneLine), row.fields);
    EXPECT_EQ(describeDiagnostic(row.record), row.sentence);
    EXPECT_EQ(isDiagnosticFailure(row.record), row.isFailure);
}

INSTANTIATE_TEST_SUITE_P(Diagnostics, DiagnosticRecords, testing::ValuesIn(kRecords),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Diagnostics, MakeNoRecordWhileNobodyHearsIt) {
    const auto make = []() -> DiagnosticRecord {
        ADD_FAILURE() << "a record was made for nobody";
        return DisconnectEnded{};
    };
    recordDiagnostics(nullptr, make);
}

TEST(Diagnostics, MakeARecordOnceForWhoeverHearsIt) {
    const auto heard = std::make_shared<RecordingDiagnostics>();
    int made = 0;
    recordDiagnostics(heard, [&]() -> DiagnosticRecord {
        ++made;
        return DisconnectEnded{false, milliseconds(7)};
    });
    EXPECT_EQ(made, 1);
    ASSERT_EQ(heard->recordsOf<DisconnectEnded>().size(), 1U);
    EXPECT_EQ(heard->recordsOf<DisconnectEnded>()[0].duration, milliseconds(7));
}

TEST(Diagnostics, TakeFromAnErrorNothingButItsReason) {
    NSError error = makeError("Domain", 3, "the reason");
    error.userInfo.set("payload", "a private word");
    EXPECT_EQ(diagnosticError(error), (DiagnosticError{"Domain", 3, "the reason"}));
    EXPECT_EQ(diagnosticError(std::optional<NSError>()), std::nullopt);
}

}  // namespace
}  // namespace xel
