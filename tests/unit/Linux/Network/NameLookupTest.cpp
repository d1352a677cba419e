#include <cerrno>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NameLookup.h"

namespace xel {
namespace {

/// Look-ups whose threads are blocks that the test runs when it likes.
class NameLookupTest : public testing::Test {
protected:
    void ask(const std::string& host) {
        lookup_.ask(loop_->core(), host, [this, host](const NameLookupAnswer& answer) {
            std::string line = host + ":";
            for (const auto& address : answer.addresses) {
                line += " " + address.to_string();
            }
            answers_.push_back(line + (answer.failure.empty() ? "" : " " + answer.failure));
        });
    }

    /// What has been answered since the last call, once the loop has had its turn.
    std::vector<std::string> takeAnswers() {
        loop_->post([this] { loop_->stop(); });
        loop_->run();
        return std::exchange(answers_, {});
    }

    void finish(std::size_t thread) { std::exchange(threads_.at(thread), nullptr)(); }

    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::vector<std::function<void()>> threads_;
    std::vector<std::string> resolved_;
    bool hasThreads_ = true;
    bool hasMemory_ = true;
    std::vector<std::string> answers_;
    NameLookup lookup_{
        [this](const std::string& host) {
            resolved_.push_back(host);
            if (host == "bad.example") {
                throw std::runtime_error("the resolver broke");
            }
            return NameLookupAnswer{
                {boost::asio::ip::address_v4({192, 0, 2, static_cast<unsigned char>(resolved_.size())})}, {}};
        },
        [this](std::function<void()> work) {
            if (!hasMemory_) {
                throw std::bad_alloc();
            }
            if (!hasThreads_) {
                throw std::system_error(EAGAIN, std::generic_category());
            }
            threads_.push_back(std::move(work));
        }};
};

using Lines = std::vector<std::string>;

TEST_F(NameLookupTest, HasAThreadForEachNameThatAllWhoAskForItShare) {
    ask("a.example");
    ask("b.example");
    ask("a.example");
    ASSERT_EQ(threads_.size(), 2U);
    finish(1);
    EXPECT_EQ(takeAnswers(), Lines{"b.example: 192.0.2.1"}) << "a silent name holds no other up";
    finish(0);
    EXPECT_EQ(takeAnswers(), (Lines{"a.example: 192.0.2.2", "a.example: 192.0.2.2"}));
    ask("a.example");
    EXPECT_EQ(threads_.size(), 3U) << "an answer is not kept for later";
}

TEST_F(NameLookupTest, RefusesOneNameTooManyAtOnceUntilAnotherIsAnswered) {
    for (std::size_t i = 0; i < NameLookup::kMostAtOnce; ++i) {
        ask("silent" + std::to_string(i) + ".example");
    }
    ask("late.example");
    ask("silent0.example");
    EXPECT_EQ(threads_.size(), NameLookup::kMostAtOnce);
    EXPECT_EQ(takeAnswers(), Lines{"late.example: 32 other names are being looked up already"});
    finish(5);
    (void)takeAnswers();
    ask("late.example");
    finish(NameLookup::kMostAtOnce);
    EXPECT_EQ(takeAnswers(), Lines{"late.example: 192.0.2.2"});
}

TEST_F(NameLookupTest, FailsWhenThereIsNoThreadAndAsksForOneAgainTheNextTime) {
    hasThreads_ = false;
    ask("a.example");
    EXPECT_TRUE(answers_.empty()) << "never from inside";
    EXPECT_EQ(takeAnswers(),
              Lines{"a.example: no thread can be started for it: Resource temporarily unavailable"});
    hasThreads_ = true;
    ask("a.example");
    finish(0);
    EXPECT_EQ(takeAnswers(), Lines{"a.example: 192.0.2.1"});
}

TEST_F(NameLookupTest, ForgetsANameThatCouldNotEvenBeAskedFor) {
    hasMemory_ = false;
    EXPECT_THROW(ask("a.example"), std::bad_alloc);
    hasMemory_ = true;
    ask("a.example");
    ASSERT_EQ(threads_.size(), 1U) << "it waits for the one that came to nothing";
    finish(0);
    EXPECT_EQ(takeAnswers(), Lines{"a.example: 192.0.2.1"});
}

TEST_F(NameLookupTest, AnswersWithTheErrorThatTheSystemsLookUpThrew) {
    ask("bad.example");
    finish(0);
    EXPECT_EQ(takeAnswers(), Lines{"bad.example: the resolver broke"});
}

/// Takes an answer, as long as there is memory to copy it.
struct Unlucky {
    explicit Unlucky(const bool& hasMemory) : memory(&hasMemory) {}
    Unlucky(const Unlucky& other) : memory(other.memory) {
        if (!*memory) {
            throw std::bad_alloc();
        }
    }
    Unlucky& operator=(const Unlucky&) = delete;
    ~Unlucky() = default;
    void operator()(const NameLookupAnswer& /*answer*/) const {}

    const bool* memory;
};

TEST_F(NameLookupTest, OutlivesAnAnswerForWhichThereIsNoMemoryAndAsksAgain) {
    bool hasMemory = true;
    lookup_.ask(loop_->core(), "a.example", Unlucky(hasMemory));
    hasMemory = false;
    EXPECT_NO_THROW(finish(0));
    ask("a.example");
    ASSERT_EQ(threads_.size(), 2U);
    finish(1);
    EXPECT_EQ(takeAnswers(), Lines{"a.example: 192.0.2.2"});
}

TEST_F(NameLookupTest, DropsAnAnswerForALoopThatIsGone) {
    ask("a.example");
    loop_ = std::make_shared<AsioRunLoop>();
    ask("a.example");
    finish(0);
    EXPECT_EQ(takeAnswers(), Lines{"a.example: 192.0.2.1"}) << "of two who asked, one is left";
}

}  // namespace
}  // namespace xel
