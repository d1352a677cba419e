#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RemoteConfigurationTest : public RoomsTest {
protected:
    RemoteConfigurationTest() {
        switchLogOn();
        (void)takeLog();
    }

    bool configure(std::string_view geofence) {
        const auto block = machine_.json->JSONObjectWithData(geofence);
        EXPECT_TRUE(block) << geofence;
        return rooms_->remoteConfiguration.backdoorGeofenceConfig(*block.value().asDictionary());
    }
    void apply(std::string_view data) {
        const auto dictionary = machine_.json->JSONObjectWithData(data);
        EXPECT_TRUE(dictionary) << data;
        rooms_->remoteConfiguration.backdoorConfigs(*dictionary.value().asDictionary(), "news");
    }
    std::vector<CLCircularRegion> watched() { return rooms_->location.monitoredRegions(); }
    Dictionary storedRegion() {
        const auto stored = onDisk("monitoredRegions");
        return stored ? *firstOf(*stored->asArray()).asDictionary() : Dictionary();
    }
};

TEST_F(RemoteConfigurationTest, StartsARegionWithEverythingThatItSays) {
    EXPECT_TRUE(configure(R"({"id":"g1","center":[35.7,51.4],"r":200,"count":3,"expire":1600000000,)"
                          R"("enter":"hello","exit":{"title":"bye"}})"));
    EXPECT_THAT(watched(), ElementsAre(CLCircularRegion{{35.7, 51.4}, 200.0, "g1"}));
    EXPECT_EQ(storedRegion(), (Dictionary{{"id", "g1"},
                                          {"center", Array{35.7, 51.4}},
                                          {"r", 200.0},
                                          {"count", 3},
                                          {"expire", 1600000000.0},
                                          {"enter", "hello"},
                                          {"exit", Dictionary{{"title", "bye"}}}}));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(RemoteConfigurationTest, ReadsTheExpiryAsMillisecondsSince1970) {
    machine_.clock->setDate(dateFromSecondsSince1970(1599999.0));
    EXPECT_TRUE(configure(R"({"id":"g1","center":[35.7,51.4],"r":200,"count":3,"expire":1600000000})"));
    machine_.advanceBy(std::chrono::milliseconds(999));
    EXPECT_THAT(watched(), ElementsAre(CLCircularRegion{{35.7, 51.4}, 200.0, "g1"}));
    machine_.advanceBy(std::chrono::milliseconds(1));
    EXPECT_THAT(watched(), IsEmpty());
}

TEST_F(RemoteConfigurationTest, StartsWithWhatIsThere) {
    EXPECT_TRUE(configure(R"({"id":"g1","center":[-90,180],"r":0.5})"));
    EXPECT_THAT(watched(), ElementsAre(CLCircularRegion{{-90, 180}, 0.5, "g1"}));
    EXPECT_EQ(storedRegion().find("count")->integer(), 0);
    EXPECT_EQ(storedRegion().find("expire")->number(), 0.0);
    EXPECT_TRUE(storedRegion().find("enter")->isNull());
    EXPECT_TRUE(configure(R"({"id":"g1","center":[1,2],"r":7,"count":2.9,"expire":"soon"})"));
    EXPECT_THAT(watched(), ElementsAre(CLCircularRegion{{1, 2}, 7.0, "g1"})) << "with the new values";
    EXPECT_EQ(storedRegion().find("count")->integer(), 2);
}

TEST_F(RemoteConfigurationTest, StartsNothingFromAMalformedBlock) {
    const char* malformed[] = {
        R"({"id":"g1","center":[35.7,51.4]})",
        R"({"id":"g1","center":[35.7,51.4],"r":null})",
        R"({"id":"g1","center":[35.7,51.4],"r":"200"})",
        R"({"id":"g1","center":[null,51.4],"r":200})",
        R"({"id":"g1","center":[35.7,null],"r":200})",
        R"({"id":"g1","center":["35.7",51.4],"r":200})",
        R"({"id":"g1","center":[91,51.4],"r":200})",
        R"({"id":"g1","center":[35.7,-181],"r":200})",
        R"({"id":"g1","center":[1e300,51.4],"r":200})",
        R"({"id":"g1","center":[35.7,51.4],"r":0})",
        R"({"id":"g1","center":[35.7,51.4],"r":-200})",
        R"({"id":"g1","center":[35.7,51.4],"r":1e300})",
        R"({"center":[35.7,51.4],"r":200})",
        R"({"id":"","center":[35.7,51.4],"r":200})",
        R"({"id":null,"center":[35.7,51.4],"r":200})",
        R"({"id":7,"center":[35.7,51.4],"r":200})",
    };
    for (const auto* block : malformed) {
        EXPECT_FALSE(configure(block)) << block;
    }
    EXPECT_THAT(watched(), IsEmpty());
    EXPECT_THAT(takeLog(), IsEmpty()) << "malformed blocks are ignored without a line";
    EXPECT_THAT(machine_.locationSource->startedFilters(), IsEmpty());
}

TEST_F(RemoteConfigurationTest, StopsTheRegionWithoutACentreOfTwoElements) {
    const char* stops[] = {
        R"({"id":"g1"})",
        R"({"id":"g1","center":[],"r":200})",
        R"({"id":"g1","center":[35.7],"r":200})",
        R"({"id":"g1","center":[35.7,51.4,0],"r":200})",
        R"({"id":"g1","center":null,"r":200})",
        R"({"id":"g1","center":{"lat":35.7,"lng":51.4},"r":200})",
        R"({"id":"g1","center":"35.7,51.4","r":200})",
    };
    for (const auto* block : stops) {
        EXPECT_TRUE(configure(R"({"id":"g1","center":[35.7,51.4],"r":200})"));
        EXPECT_TRUE(configure(block)) << block;
        EXPECT_THAT(watched(), IsEmpty()) << block;
        EXPECT_THAT(takeLog(), ElementsAre("'g1' region monitoring was stopped")) << block;
    }
}

TEST_F(RemoteConfigurationTest, LogsNothingForARegionThatIsNotWatched) {
    EXPECT_TRUE(configure(R"({"id":"g2"})"));
    EXPECT_FALSE(configure(R"({"center":[1,2,3]})"));
    EXPECT_FALSE(configure(R"({"id":null})"));
    EXPECT_FALSE(configure("{}"));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(RemoteConfigurationTest, LooksForTheGeofenceOfAMessagesData) {
    apply(R"({"other":{"id":"g0","center":[35.7,51.4],"r":200}})");
    apply(R"({"geofence":null})");
    apply(R"({"geofence":[1,2]})");
    apply(R"({"geofence":"g1"})");
    EXPECT_THAT(watched(), IsEmpty());
    apply(R"({"geofence":{"id":"g1","center":[35.7,51.4],"r":200}})");
    EXPECT_EQ(watched().size(), 1U);
}

}  // namespace
}  // namespace xel
