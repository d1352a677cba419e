#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Log/JournalSink.h"
#include "tests/contract/Log/DatagramReader.h"
#include "tests/contract/Log/DiagnosticsContract.h"
#include "tests/contract/Log/LogSinkContract.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

using Entry = std::map<std::string, std::string>;

/// An entry, as the journal reads it: "NAME=value" on a line, or the name on a line and a value of a given
/// length.
Entry parseEntry(const std::string& text) {
    Entry fields;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = text.find('\n', at);
        const std::string line = text.substr(at, end - at);
        const auto equals = line.find('=');
        if (equals != std::string::npos) {
            fields[line.substr(0, equals)] = line.substr(equals + 1);
            at = end + 1;
            continue;
        }
        std::uint64_t length = 0;
        for (std::size_t octet = 0; octet < 8; ++octet) {
            length |= std::uint64_t{static_cast<unsigned char>(text.at(end + 1 + octet))} << (8 * octet);
        }
        fields[line] = text.substr(end + 9, length);
        EXPECT_EQ(text.at(end + 9 + length), '\n');
        at = end + 10 + length;
    }
    return fields;
}

/// The journal's socket, at a place of the test's.
class JournalSubject {
public:
    static std::string whyNot() { return {}; }
    LogSink& sink() { return sink_; }
    Diagnostics& diagnostics() { return sink_; }
    std::vector<Entry> takeEntries() {
        std::vector<Entry> entries;
        for (const auto& record : reader_.take()) {
            entries.push_back(parseEntry(record));
        }
        return entries;
    }
    std::vector<std::string> takeLines() { return takeFields("MESSAGE"); }
    std::vector<std::string> takeTypes() { return takeFields("XELPUSH_TYPE"); }
    void stopReading() { reader_.pause(); }

private:
    std::vector<std::string> takeFields(const std::string& name) {
        std::vector<std::string> fields;
        for (auto& entry : takeEntries()) {
            fields.push_back(entry[name]);
        }
        return fields;
    }

    TemporaryFolder folder_;
    DatagramReader reader_{folder_.path() + "/socket"};
    JournalSink sink_{"xelpush-test", folder_.path() + "/socket"};
};

TEST(JournalSink, GivesARecordsFieldsNamesOfTheirOwn) {
    JournalSubject subject;
    subject.diagnostics().record(ConnectionAttemptEnded{{2, "push.example", 4443, true},
                                                        ConnectionAttemptOutcome::Failed,
                                                        DiagnosticError{"Domain", -3, "the\nXELPUSH_X=cause"},
                                                        std::chrono::milliseconds(12)});
    const auto entries = subject.takeEntries();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0], (Entry{{"MESSAGE",
                                  "connection attempt 2 to push.example:4443 by TLS failed after 12 ms: the "
                                  "XELPUSH_X=cause"},
                                 {"PRIORITY", "4"},
                                 {"SYSLOG_IDENTIFIER", "xelpush-test"},
                                 {"XELPUSH_TYPE", "connection-attempt-ended"},
                                 {"XELPUSH_ATTEMPT", "2"},
                                 {"XELPUSH_HOST", "push.example"},
                                 {"XELPUSH_PORT", "4443"},
                                 {"XELPUSH_TRANSPORT", "tls"},
                                 {"XELPUSH_OUTCOME", "failed"},
                                 {"XELPUSH_DURATION_MS", "12"},
                                 {"XELPUSH_ERROR_DOMAIN", "Domain"},
                                 {"XELPUSH_ERROR_CODE", "-3"},
                                 {"XELPUSH_ERROR_DESCRIPTION", "the\nXELPUSH_X=cause"}}));
}

TEST(JournalSink, GivesALogEntryItsTextAndPriority) {
    JournalSubject subject;
    subject.sink().write("\n one\n two");
    EXPECT_EQ(subject.takeEntries(),
              (std::vector<Entry>{
                  {{"MESSAGE", "one two"}, {"PRIORITY", "6"}, {"SYSLOG_IDENTIFIER", "xelpush-test"}}}));
}

TEST(JournalSink, PassesWhatIsTooLargeForADatagramAsAFile) {
    JournalSubject subject;
    const std::string line(4'000'000, 'x');
    subject.sink().write(line);
    EXPECT_EQ(subject.takeLines(), std::vector<std::string>{line});
}

TEST(JournalSink, IsSilentOnAMachineWithoutAJournal) {
    const TemporaryFolder folder;
    JournalSink sink("xelpush-test", folder.path() + "/none");
    sink.write("nobody");
    sink.record(DisconnectEnded{});
    JournalSink("xelpush-test", std::string(1000, 'p')).write("no path of a socket is so long");
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Journal, LogSinkContract, JournalSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Journal, UnreadLogSinkContract, JournalSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Journal, DiagnosticsContract, JournalSubject);

}  // namespace xel::contract
