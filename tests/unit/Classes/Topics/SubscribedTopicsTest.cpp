#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SubscribedTopicsTest : public RoomsTest {
protected:
    SubscribedTopics& room() { return rooms_->subscribedTopics; }
};

TEST_F(SubscribedTopicsTest, AreStoredAtOnceAndInTheirOrder) {
    room().store({"b", "a", "b"});
    EXPECT_THAT(room().load(), ElementsAre("b", "a", "b"));
    EXPECT_EQ(onDisk("subscribedTopics"), Value(Array{Value("b"), Value("a"), Value("b")}));
}

TEST_F(SubscribedTopicsTest, LeaveOutWhatIsNoText) {
    home_.defaults->setObject("subscribedTopics", Array{Value(1), Value("a"), Value()});
    EXPECT_THAT(room().load(), ElementsAre("a"));
    home_.defaults->setObject("subscribedTopics", "no list");
    EXPECT_THAT(room().load(), IsEmpty());
}

TEST_F(SubscribedTopicsTest, LoseEveryEntryOfARemovedTopic) {
    room().store({"a", "b", "a"});
    room().removeTopicFromUserDefault("a");
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre("b"));
    room().removeTopicFromUserDefault("unknown");
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre("b"));
}

TEST_F(SubscribedTopicsTest, LoseManyTopicsWithOneCommit) {
    room().store({"a", "b", "c", "a"});
    const std::size_t before = machine_.disk->commitCount();
    room().removeTopicsFromUserDefault(std::vector<std::string_view>{"c", "unknown", "a"});
    EXPECT_EQ(onDisk("subscribedTopics"), Value(Array{Value("b")}));
    EXPECT_EQ(machine_.disk->commitCount(), before + 1);
}

TEST_F(SubscribedTopicsTest, AreRemovedWithTheNextCommit) {
    room().store({"a"});
    room().removeStoredIdentity();
    EXPECT_THAT(room().load(), IsEmpty());
    EXPECT_TRUE(onDisk("subscribedTopics"));
    EXPECT_TRUE(home_.defaults->synchronize());
    EXPECT_FALSE(onDisk("subscribedTopics"));
}

}  // namespace
}  // namespace xel
