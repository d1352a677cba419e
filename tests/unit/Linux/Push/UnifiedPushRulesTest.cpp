#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Push/UnifiedPushRules.h"

namespace xel {
namespace {

using namespace std::string_literals;
using Table = std::vector<std::pair<std::string, bool>>;

TEST(UnifiedPushRules, TellWhatAProgramMayOwn) {
    const Table table = {
        {"org.example.Shop", true},
        {"a.b", true},
        {"_x.y-z", true},
        {"org.example." + std::string(243, 'x'), true},
        {"org.example." + std::string(244, 'x'), false},
        {"", false},
        {"Shop", false},
        {".org.example", false},
        {"org.example.", false},
        {"org..example", false},
        {"org.7th", false},
        {":1.5", false},
        {"org.example.Sh\xC3\xB6p", false},
        {"org.example.a b", false},
        {"org.example.a/b", false},
        {"org.example.a\0b"s, false},
    };
    for (const auto& [name, isValid] : table) {
        EXPECT_EQ(isBusName(name), isValid) << name;
    }
}

TEST(UnifiedPushRules, KnowADistributorByItsName) {
    const Table table = {
        {"org.unifiedpush.Distributor.one", true},   {"org.unifiedpush.Distributor.one.two", true},
        {"org.unifiedpush.Distributor", false},      {"org.unifiedpush.Distributor.", false},
        {"org.unifiedpush.Distributors.one", false}, {"org.example.org.unifiedpush.Distributor.one", false},
    };
    for (const auto& [name, isDistributor] : table) {
        EXPECT_EQ(isDistributorName(name), isDistributor) << name;
    }
}

TEST(UnifiedPushRules, BoundATokenAndAnEndpoint) {
    EXPECT_FALSE(isConnectionToken(""));
    EXPECT_TRUE(isConnectionToken("t"));
    EXPECT_TRUE(isConnectionToken(std::string(100, 't')));
    EXPECT_FALSE(isConnectionToken(std::string(101, 't')));
    const std::string stem = "https://push.example/";
    const Table table = {
        {stem, true},
        {"http://127.0.0.1:8080/up?id=1", true},
        {stem + std::string(1000 - stem.size(), 'x'), true},
        {stem + std::string(1001 - stem.size(), 'x'), false},
        {"", false},
        {"not_an_url", false},
        {"ftp://push.example/", false},
        {"https://", false},
        {"https:///path", false},
        {"https://?query", false},
        {"https://#fragment", false},
        {"https://push.example/a b", false},
        {"https://push.example/a\n", false},
        {"https://push.example/\x7F", false},
        {" https://push.example/", false},
    };
    for (const auto& [text, isEndpoint] : table) {
        EXPECT_EQ(isPushEndpoint(text), isEndpoint) << text;
    }
}

TEST(UnifiedPushRules, ChooseADistributor) {
    struct Row {
        std::string what;
        DistributorNames names;
        std::string preferred;
        std::string remembered;
        std::optional<std::string> chosen;
    };
    const std::vector<Row> table = {
        {"none", {}, "", "", std::nullopt},
        {"none, though one is wished for", {}, "p", "r", std::nullopt},
        {"the first that runs", {{"b", "a"}, {"0"}}, "", "", "a"},
        {"the first that can be started", {{}, {"d", "c"}}, "", "", "c"},
        {"the one of the last time", {{"a", "b"}, {"c"}}, "", "b", "b"},
        {"the one of the last time, though it must be started", {{"a"}, {"c"}}, "", "c", "c"},
        {"the one of the last time has gone", {{"a"}, {}}, "", "x", "a"},
        {"the preferred one", {{"a", "b"}, {"c"}}, "c", "b", "c"},
        {"the preferred one is not there", {{"a", "b"}, {"c"}}, "x", "b", "b"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(chosenDistributor(row.names, row.preferred, row.remembered), row.chosen) << row.what;
    }
}

}  // namespace
}  // namespace xel
