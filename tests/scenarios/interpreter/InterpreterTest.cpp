#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/interpreter/ScenarioWorld.h"

// The interpreter itself: a scenario that does not turn out as written must fail.

namespace xel::scenario {
namespace {

using Lines = std::vector<std::string>;

/// What the first step that failed said; empty when all turned out as written.
std::string failureOf(const Lines& lines) {
    ScenarioWorld world;
    try {
        for (const auto& line : lines) {
            world.perform(Step{"file", 1, line, cutIntoWords(line)});
        }
        world.finish();
    } catch (const ScenarioFailure& failure) {
        return failure.what();
    }
    return {};
}

void expectFailure(const Lines& lines, const std::string& text) {
    const auto failure = failureOf(lines);
    EXPECT_NE(failure.find(text), std::string::npos) << lines.back() << ": \"" << failure << "\"";
}

Lines afterConnecting(const Lines& more) {
    Lines lines{R"(rest answers POST installations 200 {"id":"D1"})",
                "host registerApplication shop key demo secret", "host registerUser alice01 channels news"};
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

TEST(CutIntoWords, KeepsQuotationsAndDocumentsWhole) {
    EXPECT_EQ(cutIntoWords(R"(a  "b c"	{"d e":["}",{}]} "" "\"\\\n" f#g)"),
              (Lines{"a", "b c", R"({"d e":["}",{}]})", "", "\"\\\n", "f#g"}));
    EXPECT_TRUE(cutIntoWords("  ").empty());
    EXPECT_EQ(cutIntoWords(R"("be\u0007ll \u0085 \ufffe")"), (Lines{"be\x07ll \xC2\x85 \xEF\xBF\xBE"}));
    EXPECT_THROW(static_cast<void>(cutIntoWords(R"("\u00x7")")), ScenarioFailure);
    EXPECT_THROW(static_cast<void>(cutIntoWords(R"("\u07")")), ScenarioFailure);
    EXPECT_THROW(static_cast<void>(cutIntoWords("\"open")), ScenarioFailure);
    EXPECT_THROW(static_cast<void>(cutIntoWords("{\"a\":[}")), ScenarioFailure);
}

TEST(Interpreter, RefusesWhatItDoesNotKnow) {
    expectFailure({"dance"}, "\"dance\" is no verb");
    expectFailure({"host dances"}, "no operation of the host's");
    expectFailure({"expect miracle"}, "is nothing to expect");
    expectFailure({"expect state"}, "lacks a state");
    expectFailure({"expect state Disconnected today"}, "\"today\" means nothing here");
    expectFailure({"time passes long s"}, "is a number");
    expectFailure({"expect value shoeSize 44"}, "shoeSize");
}

TEST(Interpreter, FailsWhereAnExpectationIsNotMet) {
    expectFailure({"expect state Connected"}, "the state is Disconnected, not Connected");
    expectFailure({"expect callback pushClientManagerDidRegisterUser"}, "no callback is left");
    expectFailure(afterConnecting({"expect subscribed news"}),
                  "the next callback is not pushClientManagerDidSubscribed");
    const std::string registered = "expect callback pushClientManagerDidRegisterUser registered yes";
    EXPECT_EQ(failureOf(afterConnecting({registered, "expect subscribed news", "expect no callback"})), "");
    expectFailure(afterConnecting({registered, "expect subscribed sport"}), "channel is not sport");
    expectFailure(afterConnecting({"expect callback pushClientManagerDidRegisterUser colour red"}),
                  "there is no field colour");
    expectFailure(afterConnecting({"expect no callback"}), "a callback that should not be");
    expectFailure(afterConnecting({"expect states Connecting"}), "a state report that should not be");
    expectFailure(afterConnecting({"expect packet CONNECT client another"}), "client is not another");
    expectFailure(afterConnecting({"expect acknowledgements 1"}), "no acknowledgement is left");
    expectFailure(afterConnecting({R"(expect request POST installations body {"userId":"bob"})"}),
                  "the body differs at userId");
    expectFailure(afterConnecting({"expect request POST installations lacking userId"}),
                  "the body has userId");
    expectFailure(afterConnecting({"expect stored userId bob"}), "userId is alice01, not bob");
    expectFailure(afterConnecting({"expect log anything"}), "no log line says");
    expectFailure(afterConnecting({"expect shown notification"}), "no shown notification is left");
}

TEST(Interpreter, FailsForAnExceptionThatNobodyExpected) {
    const std::string throwing = "host throws mistake";
    expectFailure({throwing}, "an exception was not expected: mistake");
    expectFailure({throwing, "host connectToServer"}, "an exception was not expected: mistake");
    expectFailure({throwing, "expect exception another"}, "the exception says: mistake");
    expectFailure({"expect exception mistake"}, "no exception came");
    EXPECT_EQ(failureOf({throwing, "expect exception mistake"}), "");
}

TEST(Interpreter, FailsForWhatNeverHappenedInsideACallback) {
    expectFailure({"inside pushClientManagerDidReceivedMessage host reset"},
                  "what was to happen inside pushClientManagerDidReceivedMessage never did");
}

TEST(Interpreter, FailsWhenTheClientBrokeTheProtocol) {
    ScenarioWorld world;
    const auto stream = [&] {
        class Silent final : public ByteStreamObserver {
            void streamDidOpen() override {}
            void streamDidReceive(std::string_view /*octets*/) override {}
            void streamDidEndByPeer() override {}
            void streamDidFail(const NSError& /*error*/) override {}
        };
        static Silent silent;
        return world.machine->network->makeStream(*world.machine->runLoop, silent);
    }();
    stream->open("localhost", 1880, false);
    world.letHappen();
    stream->write(std::string("\xC0\0", 2));  // PINGREQ before CONNECT
    world.letHappen();
    EXPECT_THROW(world.finish(), ScenarioFailure);
}

}  // namespace
}  // namespace xel::scenario
