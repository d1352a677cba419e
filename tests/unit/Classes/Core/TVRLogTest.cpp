#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

/// An argument that notices being turned into something that can be formatted.
struct Watched {
    int* uses;
    operator FormatArgument() const {
        ++*uses;
        return FormatArgument("watched");
    }
};

using TVRLogTest = RoomsTest;

TEST_F(TVRLogTest, WritesOneFramedLineWhenSwitchedOn) {
    switchLogOn();
    TVRLog(rooms_->log, "hello %@, %d times", "world", 3);
    EXPECT_THAT(machine_.logSink->lines(),
                testing::ElementsAre("\nTAVRINPUSH LOG : ----------------------\n\n hello world, 3 times "
                                     "\n\n----------------------"));
}

TEST_F(TVRLogTest, WritesNothingOnAFreshInstallation) {
    TVRLog(rooms_->log, "hello");
    EXPECT_THAT(machine_.logSink->lines(), testing::IsEmpty());
}

TEST_F(TVRLogTest, DoesNotLookAtItsArgumentsWhileOff) {
    int uses = 0;
    TVRLog(rooms_->log, "%@", Watched{&uses});
    EXPECT_EQ(uses, 0);
    switchLogOn();
    TVRLog(rooms_->log, "%@", Watched{&uses});
    EXPECT_GT(uses, 0);
}

TEST_F(TVRLogTest, ReadsTheStoredSwitchEachTime) {
    home_.defaults->setObject("enableTavrinLogInDebuggingKEY", true);
    TVRLog(rooms_->log, "one");
    home_.defaults->setObject("enableTavrinLogInDebuggingKEY", false);
    TVRLog(rooms_->log, "two");
    home_.defaults->setObject("enableTavrinLogInDebuggingKEY", true);
    TVRLog(rooms_->log, "three");
    EXPECT_THAT(takeLog(), testing::ElementsAre("one", "three"));
}

TEST_F(TVRLogTest, TakesAHomesWordForTheStoredSwitch) {
    for (const bool writes : {true, false}) {
        home_.defaults->setObject("enableTavrinLogInDebuggingKEY", !writes);
        const LogOutput log(*home_.defaults, *machine_.logSink, writes);
        TVRLog(log, "hello");
        EXPECT_EQ(machine_.logSink->lines().size(), writes ? 1U : 0U);
        EXPECT_EQ(home_.defaults->boolForKey("enableTavrinLogInDebuggingKEY"), !writes);
        machine_.logSink->clear();
    }
}

TEST_F(TVRLogTest, LeavesPlaceholdersInTheMessageAlone) {
    switchLogOn();
    TVRLog(rooms_->log, "%@", "100 %@ sure");
    EXPECT_THAT(takeLog(), testing::ElementsAre("100 %@ sure"));
}

}  // namespace
}  // namespace xel
