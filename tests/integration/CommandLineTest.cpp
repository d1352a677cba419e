#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "tests/integration/support/CommandSupport.h"

namespace xel::test {
namespace {

using testing::HasSubstr;

struct WrongUsage {
    std::vector<std::string> arguments;
    std::string complaint;
};

TEST_F(CommandLineTest, ExplainsWrongUsageAndEndsWithTwo) {
    for (const auto& [arguments, complaint] : std::vector<WrongUsage>{
             {{}, "subcommand is required"},
             {{"lisen"}, "not understood: lisen"},
             {{"listen"}, "--user is required"},
             {{"listen", "--usre", "alice01"}, "not understood: --usre alice01"},
             {{"listen", "--user", "alice01", "--cuont", "1"}, "--cuont"},
             {{"listen", "--user", "alice01", "--count", "0"}, "--count"},
             {{"listen", "--user", "alice01", "--timeout", "soon"}, "not a duration"},
             {{"listen", "--user", "alice01", "--api-key-file", "/missing"}, "--api-key-file"},
             {{"send", "hello"}, "--user,--public"},
             {{"send", "--user", "a", "--public", "hello"}, "--user,--public"},
             {{"send", "--public", "--data", "[1]"}, "not a JSON object"},
             {{"send", "--public", "--data", "{"}, "not valid JSON"},
             {{"event"}, "subcommand is required"},
             {{"event", "login"}, "not understood: login"},
             {{"event", "send"}, "name is required"},
             {{"event", "subscribe", "login"}, "--user is required"},
             {{"sandbox", "codse"}, "codse"},
             {{"sandbox", "codes", "--limit", "0"}, "--limit"},
             {{"doctor", "--client", "other"}, "--client"},
             {{"sandbox", "--rest-port", "70000"}, "--rest-port"},
         }) {
        const CommandOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 2) << complaint;
        EXPECT_THAT(outcome.errors + outcome.output, HasSubstr(complaint));
    }
}

TEST_F(CommandLineTest, ListsCommandsAndExitCodesInItsHelp) {
    const CommandOutcome outcome = run({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* text :
         {"sandbox", "distributor", "listen", "send", "event", "Exit codes", "5 cannot connect"}) {
        EXPECT_THAT(outcome.output, HasSubstr(text));
    }
}

TEST_F(CommandLineTest, SaysWhenNoLocalServiceRuns) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"send", "--public", "hello"}, {"event", "send", "login"}, {"listen", "--user", "alice01"}}) {
        const CommandOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 5);
        EXPECT_THAT(outcome.errors, HasSubstr("xelpush sandbox"));
    }
}

TEST_F(CommandLineTest, SaysWhenThereIsNoSessionBus) {
    const std::string folder = (folder_.path() / "distributor").string();
    for (const std::vector<std::string>& environment :
         std::vector<std::vector<std::string>>{{}, {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus"}}) {
        const CommandOutcome outcome = run({"distributor", "--state-folder", folder}, environment);
        EXPECT_EQ(outcome.exitCode, 5);
        EXPECT_THAT(outcome.errors, HasSubstr("there is no session bus"));
    }
    EXPECT_EQ(run({"distributor", "--port", "65536"}).exitCode, 2);
}

TEST_F(CommandLineTest, NamesAnEnvironmentVariableThatMakesNoSense) {
    const CommandOutcome outcome =
        run({"send", "--public", "hello"},
            {"XELPUSH_API_KEY=k", "XELPUSH_APP_ID=a", "XELPUSH_LOCAL_BROKER_PORT=many"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("XELPUSH_LOCAL_BROKER_PORT"));
}

class CommandLineAndServiceTest : public CommandAndServiceTest {
protected:
    [[nodiscard]] std::vector<std::string> listen(const std::vector<std::string>& more) const {
        std::vector<std::string> arguments{"listen", "--user", "alice01", "--state-folder",
                                           (folder_.path() / "state").string()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return with(std::move(arguments));
    }
};

TEST_F(CommandLineAndServiceTest, SendsWhatItWasGiven) {
    const CommandOutcome outcome =
        run(with({"send", "--user", "alice01", "--channel", "orders", "--id", "m1", "--title", "Title",
                  "--body", "Body", "--data", R"({"n": 7})", "--silent", "--json", "the text"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto answer = SimdjsonSerialization().JSONObjectWithData(outcome.output);
    ASSERT_TRUE(answer.isOk()) << outcome.output;
    EXPECT_EQ(*answer.value().asDictionary()->find("id"), Value("m1"));
    const Dictionary& message = *answer.value().asDictionary()->find("message")->asDictionary();
    EXPECT_EQ(*message.find("messageBody"), Value("the text"));
    EXPECT_EQ(*message.find("channel"), Value("private/orders"));
    EXPECT_EQ(*message.find("data"), Value(Dictionary{{"n", 7}}));
    EXPECT_EQ(*message.find("notification"), Value(Dictionary{{"title", "Title"}, {"body", "Body"}}));
    EXPECT_EQ(*message.find("silent"), Value(true));
    EXPECT_FALSE(message.contains("expireTime"));
}

TEST_F(CommandLineAndServiceTest, TakesAChannelThatTheServiceRefusesAsAFailure) {
    const CommandOutcome outcome = run(with({"send", "--public", "--channel", "a#b", "hello"}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("channel"));
}

TEST_F(CommandLineAndServiceTest, PrintsWhatArrivesAndEndsAtTheCount) {
    Command command(folder_, listen({"--channel", "news", "--json", "--count", "2", "--timeout", "60s"}));
    ASSERT_TRUE(command.readUntil(R"("channel":"news")"));
    EXPECT_EQ(run(with({"send", "--public", "--channel", "news", "--id", "m1", "one"})).exitCode, 0);
    EXPECT_EQ(run(with({"send", "--public", "--channel", "news", "--id", "m1", "one"})).exitCode, 0);
    EXPECT_EQ(run(with({"send", "--public", "--channel", "news", "--expires=-1s", "old"})).exitCode, 0);
    EXPECT_EQ(run(with({"send", "--public", "--channel", "news", "--id", "m2", "two"})).exitCode, 0);
    const CommandOutcome outcome = command.finish();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;

    std::vector<std::string> types;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = outcome.output.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        const auto line =
            SimdjsonSerialization().JSONObjectWithData(outcome.output.substr(begin, end - begin));
        ASSERT_TRUE(line.isOk()) << outcome.output;
        const std::string type = *line.value().asDictionary()->find("type")->asString();
        if (type != "subscribed") {
            types.push_back(type);
        }
    }
    EXPECT_EQ(types, (std::vector<std::string>{"registered", "state", "state", "message", "duplicate",
                                               "expired", "message", "state"}));

    // What it acknowledged does not come again, what was sent meanwhile does.
    EXPECT_EQ(run(with({"send", "--public", "--channel", "news", "--id", "m3", "three"})).exitCode, 0);
    const CommandOutcome again = run(listen({"--channel", "news", "--count", "1", "--timeout", "60s"}));
    EXPECT_EQ(again.exitCode, 0) << again.errors;
    EXPECT_THAT(again.output, HasSubstr("three"));
    EXPECT_THAT(again.output, testing::Not(HasSubstr("two")));
    EXPECT_THAT(again.output, testing::Not(HasSubstr("m2 was here before")));
}

TEST_F(CommandLineAndServiceTest, EndsWithThreeWhenTheCountIsNotReached) {
    const CommandOutcome outcome = run(listen({"--plain", "--count", "1", "--timeout", "3s"}));
    EXPECT_EQ(outcome.exitCode, 3) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Connected"));
}

TEST_F(CommandLineAndServiceTest, EndsWithFourForARefusedKey) {
    EXPECT_EQ(run(with({"send", "--public", "hello"}), {"XELPUSH_API_KEY=wrong"}).exitCode, 4);
    const CommandOutcome outcome = run(listen({"--timeout", "60s"}), {"XELPUSH_API_KEY=wrong"});
    EXPECT_EQ(outcome.exitCode, 4) << outcome.errors;
    EXPECT_THAT(outcome.errors + outcome.output, testing::Not(HasSubstr("wrong")));
}

TEST_F(CommandLineAndServiceTest, EndsWithFourForARefusedBrokerPassword) {
    const std::filesystem::path secret = folder_.path() / "secret";
    std::ofstream(secret) << "not-the-password\n";
    const CommandOutcome outcome =
        run(listen({"--timeout", "60s", "--broker-password-file", secret.string()}));
    EXPECT_EQ(outcome.exitCode, 4) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Error"));
    EXPECT_THAT(outcome.errors + outcome.output, testing::Not(HasSubstr("not-the-password")));
}

TEST_F(CommandLineAndServiceTest, EndsWithFiveForACertificateThatItDoesNotTrust) {
    const CommandOutcome outcome =
        run(listen({"--timeout", "60s"}), {"XELPUSH_CA_FILE=/etc/ssl/certs/ca-certificates.crt"});
    EXPECT_EQ(outcome.exitCode, 5) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("certificate"));
}

TEST_F(CommandLineAndServiceTest, EndsWithFiveWhenTheBrokerIsNotThere) {
    service_.service->stopBroker();
    const CommandOutcome outcome = run(listen({"--timeout", "2s"}));
    EXPECT_EQ(outcome.exitCode, 5) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("registered"));
}

}  // namespace
}  // namespace xel::test
