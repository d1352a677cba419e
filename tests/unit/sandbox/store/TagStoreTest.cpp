#include <string>

#include <gtest/gtest.h>

#include "sandbox/store/ServiceStores.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

class TagStoreTest : public testing::Test {
protected:
    std::string install(const std::string& user) {
        return stores_.installations.add(Json{{"userId", user}})["id"];
    }

    test::TemporaryFolder folder_;
    ServiceStores stores_{folder_.path()};
    TagStore& tags_ = stores_.tags;
};

TEST_F(TagStoreTest, CountsTheInstallationsThatCarryTheTag) {
    EXPECT_EQ(tags_.add("alice01", "vip"), 0);
    const std::string first = install("alice01");
    const std::string second = install("alice01");
    const std::string bobs = install("bob02");
    EXPECT_EQ(tags_.add("alice01", "vip"), 2);
    EXPECT_EQ(tags_.add("alice01", "vip"), 2);
    EXPECT_EQ(tags_.add("alice01", "beta"), 2);
    EXPECT_EQ(tags_.tagsOf(first), Json({"beta", "vip"}));
    EXPECT_EQ(tags_.tagsOf(second), Json({"beta", "vip"}));
    EXPECT_EQ(tags_.tagsOf(bobs), Json::array());
}

TEST_F(TagStoreTest, LeavesALaterInstallationWithoutTheTag) {
    install("alice01");
    ASSERT_EQ(tags_.add("alice01", "vip"), 1);
    const std::string later = install("alice01");
    EXPECT_EQ(tags_.tagsOf(later), Json::array());
    EXPECT_EQ(tags_.add("alice01", "vip"), 2);
}

TEST_F(TagStoreTest, TakesTheTagFromThatUserOnly) {
    install("alice01");
    install("bob02");
    tags_.add("alice01", "vip");
    tags_.add("alice01", "beta");
    tags_.add("bob02", "vip");
    EXPECT_EQ(tags_.remove("alice01", "vip"), 0);
    EXPECT_EQ(tags_.add("bob02", "vip"), 1);
    EXPECT_EQ(tags_.add("alice01", "beta"), 1);
    EXPECT_EQ(tags_.remove("alice01", "unknown"), 0);
    EXPECT_EQ(tags_.remove("nobody", "vip"), 0);
}

TEST_F(TagStoreTest, ForgetsTheTagsOfAnInstallationThatIsRemoved) {
    const std::string id = install("alice01");
    tags_.add("alice01", "vip");
    ASSERT_TRUE(stores_.installations.remove(id));
    EXPECT_EQ(tags_.tagsOf(id), Json::array());
}

TEST_F(TagStoreTest, ForgetsTheTagsOfAnInstallationThatChangesHands) {
    const std::string id = install("alice01");
    tags_.add("alice01", "vip");
    ASSERT_TRUE(stores_.installations.replace(id, Json{{"userId", "alice01"}, {"badge", 1}}));
    EXPECT_EQ(tags_.tagsOf(id), Json({"vip"}));
    ASSERT_TRUE(stores_.installations.replace(id, Json{{"userId", "bob02"}}));
    EXPECT_EQ(tags_.tagsOf(id), Json::array());
    EXPECT_EQ(tags_.add("bob02", "other"), 1);
}

TEST_F(TagStoreTest, TakesAnyText) {
    install("al'ice\"01");
    EXPECT_EQ(tags_.add("al'ice\"01", "'; DROP TABLE tags; --"), 1);
    EXPECT_EQ(tags_.add("al'ice\"01", "\xD8\xB3\xD9\x84\xD8\xA7\xD9\x85"), 1);
}

}  // namespace
}  // namespace xel::sandbox
