#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using MaybeName = std::optional<std::string>;

class TagsTest : public RoomsTest {
protected:
    void SetUp() override {
        registerApplication();
        rooms_->settings.setUserId("alice01");
    }
    void add(const MaybeName& name) {
        rooms_->tags.addTag(name, countBlock(), failureBlock());
        machine_.runUntilIdle();
    }
    [[nodiscard]] Tags::Success countBlock() {
        return [this](std::int64_t count) { heard_->push_back(formatted("count %d", count)); };
    }
    [[nodiscard]] Tags::Failure failureBlock() {
        return [this](const NSError& error) {
            heard_->push_back(formatted("%@ %d %@", error.domain, error.code, error.localizedDescription()));
            detailsOfFailure_ = error.userInfo.size();
        };
    }
    [[nodiscard]] std::string takeURL() {
        const auto url = machine_.http->requests().empty() ? "" : machine_.http->requests().back().url;
        machine_.http->clearRequests();
        return url.substr(url.find("/api/") == std::string::npos ? 0 : url.find("/api/") + 5);
    }

    std::size_t detailsOfFailure_ = 0;
};

TEST_F(TagsTest, TrimsTheNameAndThenEncodesIt) {
    const struct {
        MaybeName name;
        const char* wanted;
    } kCases[] = {
        {"vip", "installations/addTag/alice01/vip?access_token=key"},
        {" \tvip \n", "installations/addTag/alice01/vip?access_token=key"},
        {"gold members", "installations/addTag/alice01/gold%20members?access_token=key"},
        {"a/b?c&d", "installations/addTag/alice01/a%2Fb%3Fc%26d?access_token=key"},
        {"gr\xC3\xBCn", "installations/addTag/alice01/gr%C3%BCn?access_token=key"},
        {std::nullopt, "installations/addTag/alice01/(null)?access_token=key"},
    };
    for (const auto& test : kCases) {
        add(test.name);
        EXPECT_EQ(takeURL(), test.wanted);
    }
    rooms_->tags.removeTag("vip", nullptr, nullptr);
    EXPECT_EQ(takeURL(), "installations/removeTag/alice01/vip?access_token=key");
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(TagsTest, HandsTheCountOn) {
    const struct {
        const char* answer;
        std::vector<std::string> wanted;
    } kCases[] = {
        {R"({"count":3})", {"count 3"}},
        {R"({"count":2.9})", {"count 2"}},
        {R"({"count":0})", {"count 0"}},
        {R"({"count":-1})", {"count -1"}},
        {R"({"count":null})", {}},
        {R"({"counts":1})", {}},
        {"[1]", {}},
        {"7", {}},
    };
    for (const auto& test : kCases) {
        machine_.http->answer("GET", "addTag/alice01/vip", 200, test.answer);
        add("vip");
        EXPECT_EQ(takeHeard(), test.wanted) << test.answer;
    }
}

TEST_F(TagsTest, RefusesInItsOrderWithDomainsOfItsOwn) {
    switchLogOn();
    const struct {
        MaybeName key;
        MaybeName user;
        MaybeName name;
        const char* wanted;
        std::vector<std::string> log;
    } kCases[] = {
        {" ", " ", " ", "NotInitialized 506 You are not initialized yet.", {"You are not initialized yet."}},
        {"",
         "alice01",
         "vip",
         "NotInitialized 506 You are not initialized yet.",
         {"You are not initialized yet."}},
        {"key", " ", " ", "NotRegistered 505 You are not registered yet.", {"You are not registered yet."}},
        {std::nullopt,
         "\t",
         "vip",
         "NotRegistered 505 You are not registered yet.",
         {"You are not registered yet."}},
        {"key", "alice01", "  ", "Argument 500 name argument is null or empty", {}},
        {"key", std::nullopt, "", "Argument 500 name argument is null or empty", {}},
    };
    for (const auto& test : kCases) {
        changeApplication([&](auto& application) { application.apiKey = test.key; });
        rooms_->settings.setUserId(test.user);
        add(test.name);
        EXPECT_THAT(takeHeard(), ElementsAre(test.wanted));
        EXPECT_EQ(detailsOfFailure_, 1U) << "the description alone";
        EXPECT_EQ(takeLog(), test.log);
        rooms_->tags.removeTag(test.name, nullptr, nullptr);
        (void)takeLog();
    }
    EXPECT_THAT(machine_.http->requests(), IsEmpty());
    EXPECT_EQ(rooms_->lastFailure.error(), std::nullopt);
}

TEST_F(TagsTest, SendsPlaceholdersForWhatIsMissing) {
    changeApplication([](auto& application) { application.apiKey.reset(); });
    rooms_->settings.setUserId(std::nullopt);
    add(std::nullopt);
    EXPECT_EQ(takeURL(), "installations/addTag/(null)/(null)?access_token=(null)");
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(TagsTest, HandsFailuresOnUnmapped) {
    machine_.http->fail("GET", "addTag/alice01/vip", NSURLErrorCode::TimedOut, "late");
    add("vip");
    EXPECT_THAT(takeHeard(), ElementsAre("NSURLErrorDomain -1001 late"));
    machine_.http->fail("GET", "removeTag/alice01/vip", NSURLErrorCode::TimedOut, "late");
    rooms_->tags.removeTag("vip", countBlock(), nullptr);
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());
}

}  // namespace
}  // namespace xel
