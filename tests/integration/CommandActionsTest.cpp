// Every command that does one thing, with the real command and the real service.

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Linux/Homes/StoredHome.h"
#include "tests/FirstAndLast.h"
#include "tests/integration/support/CommandSupport.h"

namespace xel::test {
namespace {

using sandbox::Json;
using sandbox::test::askRest;
using testing::HasSubstr;
using testing::Not;

class CommandActionsTest : public CommandAndServiceTest {
protected:
    // Runs a command that must succeed.
    std::string done(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {}) {
        const CommandOutcome outcome = run(with(arguments), environment);
        EXPECT_EQ(outcome.exitCode, 0) << firstOf(arguments) << ": " << outcome.errors;
        return outcome.output;
    }
    static Json parsed(const std::string& line) { return Json::parse(line, nullptr, false); }
    Json listed(const std::string& what) {
        return askRest(service_.info(), "GET", "sandbox/" + what).body.value(what, Json::array());
    }
    /// Reads and changes what a client has stored, while no command runs it.
    void withSettings(const std::string& client, const std::function<void(NSUserDefaults&)>& act) {
        HomeStoreOptions options;
        options.folder = (folder_.path() / ".local/state/xelpush" / client).string();
        auto store = HomeStore::open(std::move(options));
        ASSERT_TRUE(store.isOk());
        const auto defaults = openStoredHome(std::move(store).value()).value().defaults;
        act(*defaults);
        ASSERT_TRUE(defaults->synchronize());
    }
};

TEST_F(CommandActionsTest, PublishesAMessageThatIsAcknowledged) {
    Command bob(folder_, with({"listen", "--user", "bob02", "--channel", "private/inbox", "--json", "--count",
                               "1", "--timeout", "60s"}));
    ASSERT_TRUE(bob.readUntil(R"("channel":"private/inbox")"));
    const Json published = parsed(done({"publish", "--user", "alice01", "--to", "bob02", "--channel", "inbox",
                                        "--data", R"({"n":7})", "--json", "Hello"}));
    EXPECT_EQ(published["acknowledged"], true);
    EXPECT_EQ(published["topic"], "app/" + service_.info().appId + "/publish/bob02/inbox");
    const CommandOutcome outcome = bob.finish();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr(R"("messageBody":"Hello")"));
    EXPECT_THAT(outcome.output, HasSubstr(R"("senderId":"alice01")"));
}

TEST_F(CommandActionsTest, RefusesWhatTheClientFindsWrong) {
    const CommandOutcome outcome =
        run(with({"publish", "--user", "alice01", "--to", "bob02", "--channel", "a/b", "Hello"}));
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("Channel 'a/b' is not valid"));
    EXPECT_EQ(run(with({"event", "publish", "a/b", "--user", "alice01"})).exitCode, 2);
    EXPECT_EQ(run(with({"publish", "--user", "a", "--public", "Hello"})).exitCode, 2);
    EXPECT_EQ(run(with({"tag", "add", " ", "--user", "alice01"})).exitCode, 2);
    EXPECT_EQ(run(with({"verify", "request", "--user", " "})).exitCode, 2);
}

TEST_F(CommandActionsTest, PublishesEventsThatTheServiceKeepsOnceForEachId) {
    Command bob(folder_, with({"event", "subscribe", "login", "--user", "bob02", "--json", "--count", "1",
                               "--timeout", "60s"}));
    ASSERT_TRUE(bob.readUntil(R"("channel":"login")"));
    for (int i = 0; i < 2; ++i) {
        const Json published = parsed(
            done({"event", "publish", "login", "--user", "alice01", "--data", R"({"id":"e1"})", "--json"}));
        EXPECT_EQ(published["payload"]["id"], "e1");
    }
    EXPECT_THAT(bob.finish().output, HasSubstr(R"("event":"login")"));
    EXPECT_EQ(listed("events").size(), 1U);
    const Json shown = parsed(done({"sandbox", "events", "--json"}));
    EXPECT_EQ(shown["id"], "e1");
    EXPECT_EQ(shown["user"], "alice01");
    EXPECT_THAT(done({"sandbox", "events"}), HasSubstr("login of "));
}

TEST_F(CommandActionsTest, TellsTheServiceOfSeenAndDismissedMessages) {
    done({"seen", "m1", "--user", "alice01"});
    done({"dismiss", "m2", "--user", "alice01"});
    const Json receipts = listed("receipts");
    ASSERT_EQ(receipts.size(), 2U);
    EXPECT_EQ(receipts[0]["kind"], "seen");
    EXPECT_EQ(receipts[0]["messageId"], "m1");
    EXPECT_EQ(receipts[1]["kind"], "dismiss");
    EXPECT_EQ(receipts[1]["messageId"], "m2");
    EXPECT_THAT(done({"sandbox", "receipts"}), HasSubstr("dismiss  m2"));
}

TEST_F(CommandActionsTest, AddsCountsAndRemovesATag) {
    EXPECT_EQ(parsed(done({"tag", "add", "vip", "--user", "alice01", "--json"}))["count"], 0);
    done({"seen", "m1", "--user", "alice01"});  // registers an installation
    EXPECT_EQ(parsed(done({"tag", "add", "very vip/1", "--user", "alice01", "--json"}))["count"], 1);
    EXPECT_EQ(listed("installations")[0]["tags"], Json({"very vip/1"}));
    EXPECT_THAT(done({"sandbox", "installations"}), HasSubstr("very vip/1"));
    EXPECT_EQ(parsed(done({"tag", "remove", "very vip/1", "--user", "alice01", "--json"}))["count"], 0);
    EXPECT_EQ(listed("installations")[0]["tags"], Json::array());
    for (const std::string tag : {".", ".."}) {  // which mean something else in a path
        EXPECT_EQ(parsed(done({"tag", "add", tag, "--user", "alice01", "--json"}))["count"], 1);
        EXPECT_EQ(listed("installations")[0]["tags"], Json({tag}));
        EXPECT_EQ(parsed(done({"tag", "remove", tag, "--user", "alice01", "--json"}))["count"], 0);
    }
}

TEST_F(CommandActionsTest, ShowsWhatTheServiceOfAStateFolderKeepsInEitherOrder) {
    done({"seen", "m1", "--user", "alice01"});
    const std::string folder = service_.info().stateFolder.string();
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"sandbox", "installations", "--state-folder", folder},
                                               {"sandbox", "--state-folder", folder, "installations"}}) {
        const CommandOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_THAT(outcome.output, HasSubstr("alice01"));
    }
}

TEST_F(CommandActionsTest, VerifiesAUserByTheCodeThatTheSandboxShows) {
    done({"verify", "request", "--user", "alice01"});
    const std::string code = parsed(done({"sandbox", "codes", "--json"}))["code"];
    ASSERT_EQ(code.size(), 6U);
    const auto check = [&](const std::string& given) {
        return run(with({"verify", "check", "--user", "alice01", "--json"}), {}, given + "\n");
    };
    EXPECT_EQ(check(code == "000000" ? "000001" : "000000").exitCode, 1);
    const CommandOutcome right = check(code);
    EXPECT_EQ(right.exitCode, 0) << right.errors;
    EXPECT_EQ(parsed(right.output)["verified"], true);
    const CommandOutcome used = check(code);
    EXPECT_EQ(used.exitCode, 1);
    EXPECT_EQ(parsed(used.output)["verified"], false);
    EXPECT_THAT(used.output + used.errors + right.output + right.errors, Not(HasSubstr(code)));
    EXPECT_FALSE(service_.log.contains(code));
    EXPECT_EQ(check("").exitCode, 2);
}

TEST_F(CommandActionsTest, TakesTheCodeFromTheEnvironmentOrAFile) {
    const auto request = [&] {
        done({"verify", "request", "--user", "alice01"});
        return parsed(done({"sandbox", "codes", "--json"}))["code"].get<std::string>();
    };
    done({"verify", "check", "--user", "alice01"}, {"XELPUSH_VERIFICATION_CODE=" + request()});
    const std::filesystem::path file = folder_.path() / "code";
    std::ofstream(file) << request() << "\n";
    done({"verify", "check", "--user", "alice01", "--code-file", file.string()});
}

TEST_F(CommandActionsTest, PublishesALocation) {
    done({"location", "publish", "--user", "alice01", "--latitude=-33.5", "--longitude", "51.25", "--data",
          R"({"n":1})"});
    const Json events = listed("events");
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0]["event"], "geo");
    EXPECT_EQ(events[0]["data"]["lat"], -33.5);
    EXPECT_EQ(events[0]["data"]["lng"], 51.25);
    EXPECT_EQ(events[0]["data"]["data"]["n"], 1);
}

TEST_F(CommandActionsTest, SendsACrashReport) {
    const Json sent = parsed(done({"crash", "--user", "alice01", "--data", R"({"k":"v"})", "--json"}));
    const Json crashes = listed("crashes");
    ASSERT_EQ(crashes.size(), 1U);
    EXPECT_EQ(crashes[0]["id"], sent["id"]);
    EXPECT_EQ(crashes[0]["report"]["CUSTOM_DATA"]["k"], "v");
    EXPECT_EQ(crashes[0]["report"]["APP_ID"], service_.info().appId);
    EXPECT_TRUE(crashes[0]["report"]["STACK_TRACE"].is_array());
    EXPECT_THAT(done({"sandbox", "crashes"}), HasSubstr(sent["id"].get<std::string>()));
}

TEST_F(CommandActionsTest, ShowsAndChangesChannels) {
    EXPECT_EQ(done({"channels", "--user", "alice01"}), "");
    EXPECT_EQ(done({"channels", "--user", "alice01", "--add", "public/news", "--add", "private/orders"}),
              "private/default\nnews\nprivate/orders\n");
    EXPECT_EQ(done({"channels", "--user", "alice01", "--add", "more", "--remove", "news"}),
              "private/default\nprivate/orders\nmore\n");
    EXPECT_EQ(
        done({"channels", "--user", "alice01", "--json"}),
        "{\"channel\":\"private/default\"}\n{\"channel\":\"private/orders\"}\n{\"channel\":\"more\"}\n");
    EXPECT_EQ(run(with({"channels", "--user", "alice01", "--add", "a/b/c"})).exitCode, 2);
}

TEST_F(CommandActionsTest, RemovesAChannelThatTheBrokerEndsTheConnectionOn) {
    done({"channels", "--user", "alice01", "--add", "news"});
    withSettings("listen-alice01", [this](NSUserDefaults& settings) {
        auto channels = settings.dictionaryForKey("userChannels").value_or(Dictionary());
        channels.set("app/" + service_.info().appId + "/user/public/a\x01z", 1);
        settings.setObject("userChannels", channels);
    });
    const CommandOutcome outcome = run(with({"channels", "--user", "alice01", "--remove", "a\x01z"}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "private/default\nnews\n");
}

TEST_F(CommandActionsTest, LeavesTheUsersLogSwitchAsItIs) {
    done({"seen", "m1", "--user", "alice01"});
    withSettings("command-alice01", [](NSUserDefaults& settings) {
        EXPECT_FALSE(settings.objectForKey(kEnableLogKey)) << "nobody has switched it on";
        settings.setObject(kEnableLogKey, true);
    });
    CommandOutcome outcome = run(with({"seen", "m2", "--user", "alice01"}));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("TAVRINPUSH LOG"))) << "it was not asked for";
    withSettings("command-alice01", [](NSUserDefaults& settings) {
        EXPECT_TRUE(settings.boolForKey(kEnableLogKey));
        settings.setObject(kEnableLogKey, false);
    });
    outcome = run(with({"seen", "m3", "--user", "alice01", "--verbose"}));
    EXPECT_THAT(outcome.errors, HasSubstr("TAVRINPUSH LOG"));
    withSettings("command-alice01",
                 [](NSUserDefaults& settings) { EXPECT_FALSE(settings.boolForKey(kEnableLogKey)); });
}

TEST_F(CommandActionsTest, WritesDiagnosticsIntoTheUsersFile) {
    const std::string path = (folder_.path() / "records").string();
    done({"seen", "m1", "--user", "alice01", "--diagnostics", path});
    std::vector<Json> records;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        records.push_back(Json::parse(line));
    }
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0]["type"], "connection-attempt-started");
    EXPECT_EQ(records[1]["type"], "connection-attempt-ended");
    EXPECT_EQ(records[1]["outcome"], "connected");
    EXPECT_EQ(records[2]["type"], "disconnect-ended");
    EXPECT_EQ(records[2]["everythingWasSent"], true);
    EXPECT_EQ(run(with({"seen", "m2", "--user", "alice01", "--diagnostics", path + "/no/file"})).exitCode, 1);
}

TEST_F(CommandActionsTest, ShowsAndChangesSettings) {
    EXPECT_EQ(done({"settings", "--user", "alice01"}), "location on launch: off\n");
    done({"settings", "--user", "alice01", "--channel", "news", "--sound", "chime", "--alert", "off"});
    EXPECT_EQ(done({"settings", "--user", "alice01"}),
              "location on launch: off\nnotifications of news: {\"sound\":\"chime\",\"alert\":false}\n");
    const std::string id = listed("installations")[0]["id"];
    const Json record = askRest(service_.info(), "GET", "installations/" + id).body;
    EXPECT_EQ(record["notificationSettings"]["news"]["sound"], "chime");
}

TEST_F(CommandActionsTest, ShowsTheServiceAndTheClientsThatWereHere) {
    done({"seen", "m1", "--user", "alice01"});
    const std::string status = done({"status"});
    EXPECT_THAT(status, HasSubstr("service  runs at " + service_.info().restUrl));
    EXPECT_THAT(status, HasSubstr("command-alice01  user alice01, installation "));
    const CommandOutcome refused = run(with({"status"}), {"XELPUSH_API_KEY=wrong"});
    EXPECT_EQ(refused.exitCode, 4);
    service_.service->stop();
    const CommandOutcome gone = run(with({"status"}));
    EXPECT_EQ(gone.exitCode, 5);
    EXPECT_THAT(gone.errors, HasSubstr("xelpush sandbox"));
    EXPECT_THAT(gone.output, HasSubstr("command-alice01"));
}

TEST_F(CommandActionsTest, ShowsADamagedStoreAndLeavesItToItsClient) {
    done({"seen", "m1", "--user", "alice01"});
    const std::filesystem::path file = folder_.path() / ".local/state/xelpush/command-alice01/home.db";
    const std::string damage(8192, 'x');
    std::filesystem::remove(file.string() + "-wal");
    std::ofstream(file, std::ios::trunc) << damage;
    EXPECT_THAT(done({"status"}), HasSubstr("is damaged"));
    std::ifstream left(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(left), {}), damage);
}

TEST_F(CommandActionsTest, ForgetsAClient) {
    done({"channels", "--user", "alice01", "--add", "news"});
    ASSERT_EQ(listed("installations").size(), 1U);
    EXPECT_THAT(done({"reset", "--user", "alice01"}), HasSubstr("alice01 is forgotten here"));
    EXPECT_EQ(done({"channels", "--user", "alice01"}), "");
    EXPECT_EQ(listed("installations").size(), 1U);

    done({"seen", "m1", "--user", "bob02"});
    ASSERT_EQ(listed("installations").size(), 2U);
    const Json record =
        parsed(done({"reset", "--user", "bob02", "--client", "command", "--unregister", "--json"}));
    EXPECT_EQ(record["unregistered"], true);
    EXPECT_EQ(listed("installations").size(), 1U);
    EXPECT_EQ(done({"reset", "--user", "bob02", "--client", "command"}), "");
}

TEST_F(CommandActionsTest, EndsWithFourForRefusedCredentials) {
    const std::filesystem::path secret = folder_.path() / "secret";
    std::ofstream(secret) << "not-the-password\n";
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"publish", "--user", "alice01", "--public", "x", "--broker-password-file", secret.string()}}) {
        EXPECT_EQ(run(with(arguments)).exitCode, 4);
    }
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"seen", "m1", "--user", "alice01"},
                                               {"tag", "add", "t", "--user", "alice01"},
                                               {"verify", "request", "--user", "alice01"},
                                               {"crash", "--user", "alice01"},
                                               {"sandbox", "codes"}}) {
        const CommandOutcome outcome = run(with(arguments), {"XELPUSH_API_KEY=wrong-key"});
        EXPECT_EQ(outcome.exitCode, 4) << firstOf(arguments) << outcome.errors;
        EXPECT_THAT(outcome.errors, Not(HasSubstr("wrong-key")));
    }
}

TEST_F(CommandActionsTest, EndsWithFiveWhenTheBrokerIsNotThere) {
    service_.service->stopBroker();
    const CommandOutcome outcome =
        run(with({"publish", "--user", "alice01", "--public", "x", "--timeout", "2s"}));
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_THAT(outcome.errors, HasSubstr("xelpush doctor"));
}

TEST_F(CommandActionsTest, SaysWhoUsesTheStateFolder) {
    Command bob(folder_,
                with({"listen", "--user", "bob02", "--timeout", "60s", "--count", "1", "--channel", "news"}));
    ASSERT_TRUE(bob.readUntil("subscribed"));
    const CommandOutcome outcome = run(with({"channels", "--user", "bob02"}));
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("in use by another process"));
    done({"seen", "m1", "--user", "bob02"});  // has a client of its own
    EXPECT_EQ(askRest(service_.info(), "POST", "sandbox/messages", Json{{"channel", "news"}}).status, 200U);
    EXPECT_EQ(bob.finish().exitCode, 0) << "it was not disturbed";
}

TEST_F(CommandLineTest, EveryCommandSaysWhenNoLocalServiceRuns) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"publish", "--user", "alice01", "--public", "x"},
             {"event", "publish", "e", "--user", "alice01"},
             {"event", "subscribe", "e", "--user", "alice01"},
             {"seen", "m", "--user", "alice01"},
             {"dismiss", "m", "--user", "alice01"},
             {"verify", "request", "--user", "alice01"},
             {"verify", "check", "--user", "alice01"},
             {"tag", "add", "t", "--user", "alice01"},
             {"tag", "remove", "t", "--user", "alice01"},
             {"location", "publish", "--user", "alice01", "--latitude", "1", "--longitude", "1"},
             {"channels", "--user", "alice01"},
             {"settings", "--user", "alice01"},
             {"crash", "--user", "alice01"},
             {"status"},
             {"reset", "--user", "alice01"},
             {"doctor"},
             {"sandbox", "codes"}}) {
        const CommandOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, 5) << firstOf(arguments);
        EXPECT_THAT(outcome.errors, HasSubstr("xelpush sandbox")) << firstOf(arguments);
    }
}

}  // namespace
}  // namespace xel::test
