#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/Diagnostics.h"

namespace xel::contract {

/// A record of each kind, of which each attempt or id tells them apart.
inline std::vector<DiagnosticRecord> recordsOfEachKind() {
    const ConnectionAttempt attempt{1, "push.example", 4443, true};
    const DiagnosticError error{"Domain", -3, "the \"cause\"\nXELPUSH_TYPE=forged\x01\xFF"};
    return {
        ConnectionAttemptStarted{attempt},
        ConnectionAttemptEnded{attempt, ConnectionAttemptOutcome::Failed, error,
                               std::chrono::milliseconds(12)},
        ConnectionLost{attempt, error, std::chrono::milliseconds(13)},
        DisconnectEnded{true, std::chrono::milliseconds(14)},
        PublicationDropped{.topic = "app/a/news", .id = std::string(2000, 'm')},
        CrashReportEnded{.id = "c7"},
    };
}

/// What every listener to diagnostics owes. A subject is default constructible and has
///     Diagnostics& diagnostics();
///     std::vector<std::string> takeTypes();  // of the records that came since it was asked last
///     void stopReading();  // whoever takes the records stops
template <class Subject>
class DiagnosticsContract : public ::testing::Test {
protected:
    Subject subject_;
};

TYPED_TEST_SUITE_P(DiagnosticsContract);

TYPED_TEST_P(DiagnosticsContract, KeepsARecordOfEachKindInOrder) {
    std::vector<std::string> types;
    for (const auto& record : recordsOfEachKind()) {
        types.emplace_back(diagnosticType(record));
        this->subject_.diagnostics().record(record);
    }
    EXPECT_EQ(types.size(), std::variant_size_v<DiagnosticRecord>);
    EXPECT_EQ(this->subject_.takeTypes(), types);
}

TYPED_TEST_P(DiagnosticsContract, DoesNotWaitLongForWhoeverTakesTheRecords) {
    this->subject_.stopReading();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 200; ++i) {
        for (const auto& record : recordsOfEachKind()) {
            EXPECT_NO_THROW(this->subject_.diagnostics().record(record));
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

REGISTER_TYPED_TEST_SUITE_P(DiagnosticsContract, KeepsARecordOfEachKindInOrder,
                            DoesNotWaitLongForWhoeverTakesTheRecords);

}  // namespace xel::contract
