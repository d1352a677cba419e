#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <boost/asio/post.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/contract/Process/NoDescriptors.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

class NotingPassEnd final : public PassEndObserver {
public:
    explicit NotingPassEnd(std::string& notes) : notes_(notes) {}
    void passDidEnd() noexcept override { notes_ += "end "; }

private:
    std::string& notes_;
};

TEST(AsioRunLoop, IsNotMadeWithoutDescriptorsAndNeedsNoneFromThenOn) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    auto loop = std::make_unique<AsioRunLoop>();
    const contract::NoDescriptors limit;
    EXPECT_THROW(AsioRunLoop(), boost::system::system_error);
    bool hasFired = false;
    loop->scheduleTimer(std::chrono::milliseconds(0), [&] {
        hasFired = true;
        loop->stop();
    });
    loop->run();
    EXPECT_TRUE(hasFired);
    EXPECT_NO_THROW(loop.reset());
}

TEST(AsioRunLoop, RunsWhatAHandlerPostsBeforeTheHandlerEnds) {
    AsioRunLoop loop;
    std::string notes;
    boost::asio::post(loop.ioContext(), [&] {
        loop.runThenDrain([&] {
            notes += "work ";
            loop.post([&] {
                notes += "posted ";
                loop.post([&] { notes += "postedByPosted "; });
            });
        });
        notes += "returned ";
        loop.stop();
    });
    loop.run();
    EXPECT_EQ(notes, "work posted postedByPosted returned ");
}

TEST(AsioRunLoop, TellsTheEndOfAPassAfterWhatWasPosted) {
    AsioRunLoop loop;
    std::string notes;
    const auto observer = std::make_shared<NotingPassEnd>(notes);
    loop.post([&] {
        loop.core()->callAtEndOfPass(observer);
        loop.post([&] { notes += "posted "; });
        notes += "first ";
    });
    boost::asio::post(loop.ioContext(), [&] { loop.runThenDrain([&] { loop.stop(); }); });
    loop.run();
    EXPECT_EQ(notes, "first posted end ");
}

TEST(AsioRunLoop, TellsTheEndOfAPassToWhoAskedOutsideOfOne) {
    AsioRunLoop loop;
    std::string notes;
    const auto observer = std::make_shared<NotingPassEnd>(notes);
    loop.core()->callAtEndOfPass(observer);
    loop.scheduleTimer(milliseconds(1), [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(notes, "end ");
}

TEST(AsioRunLoop, GivesTimersTheirShareWhenABlockPostsItselfForever) {
    AsioRunLoop loop;
    long rounds = 0;
    std::function<void()> again = [&] {
        ++rounds;
        loop.post(again);
    };
    loop.post(again);
    loop.scheduleTimer(milliseconds(2), [&] { loop.stop(); });
    loop.run();
    EXPECT_GT(rounds, 0);
}

TEST(AsioRunLoop, LetsAnExceptionOutOfTheHostsOwnRunAndKeepsTheRest) {
    boost::asio::io_context context;
    AsioRunLoop loop(context);
    std::string notes;
    loop.post([] { throw std::runtime_error("a host's mistake"); });
    loop.post([&] { notes += "rest"; });
    EXPECT_THROW(context.run(), std::runtime_error);
    EXPECT_EQ(notes, "");
    context.restart();
    context.run();
    EXPECT_EQ(notes, "rest");
}

TEST(AsioRunLoop, RunsOnWhenTheHostRunsItsContextAgainAfterAStop) {
    boost::asio::io_context context;
    AsioRunLoop loop(context);
    std::string notes;
    loop.post([&] {
        notes += "first ";
        loop.stop();
    });
    loop.post([&] { notes += "second"; });
    context.run();
    EXPECT_EQ(notes, "first ");
    context.restart();
    context.run();
    EXPECT_EQ(notes, "first second");
}

TEST(AsioRunLoop, IsCurrentOnTheThreadOnWhichTheHostRunsItsContext) {
    boost::asio::io_context context;
    AsioRunLoop loop(context);
    bool wasCurrent = false;
    loop.post([&] { wasCurrent = loop.isCurrent(); });
    std::thread host([&] { context.run(); });
    host.join();
    EXPECT_TRUE(wasCurrent);
    EXPECT_FALSE(loop.isCurrent());
}

TEST(AsioRunLoop, RefusesToRunInsideItsOwnBlock) {
    AsioRunLoop loop;
    loop.post([&] { loop.run(); });
    EXPECT_THROW(loop.run(), std::logic_error);
}

TEST(AsioRunLoop, FiresWhatIsLeftAfterManyTimersWereInvalidated) {
    AsioRunLoop loop;
    std::vector<std::shared_ptr<NSTimer>> timers;
    int fired = 0;
    for (int i = 0; i < 1000; ++i) {
        timers.push_back(loop.scheduleTimer(milliseconds(i % 7), [&] { ++fired; }));
    }
    for (int i = 0; i < 1000; ++i) {
        if (i % 10 != 0) {
            timers[static_cast<std::size_t>(i)]->invalidate();
        }
    }
    loop.scheduleTimer(milliseconds(10), [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(fired, 100);
    EXPECT_FALSE(timers[0]->isValid());
}

TEST(AsioRunLoop, TakesDelaysThatAreNegativeOrBeyondTheClock) {
    AsioRunLoop loop;
    std::string notes;
    loop.scheduleTimer(milliseconds::max(), [&] { notes += "never"; });
    loop.scheduleTimer(milliseconds::min(), [&] {
        notes += "now";
        loop.stop();
    });
    loop.run();
    EXPECT_EQ(notes, "now");
}

TEST(AsioRunLoop, DropsWhatIsPostedWhenItEndsAlsoWhatThatPosts) {
    class PostsWhenDestroyed {
    public:
        PostsWhenDestroyed(NSRunLoop& loop, std::shared_ptr<int> token)
            : loop_(loop), token_(std::move(token)) {}
        PostsWhenDestroyed(const PostsWhenDestroyed&) = delete;
        PostsWhenDestroyed& operator=(const PostsWhenDestroyed&) = delete;
        ~PostsWhenDestroyed() {
            loop_.post([token = token_] { ++*token; });
            loop_.scheduleTimer(milliseconds(1), [token = token_] { ++*token; });
        }

    private:
        NSRunLoop& loop_;
        std::shared_ptr<int> token_;
    };
    const auto token = std::make_shared<int>(0);
    {
        AsioRunLoop loop;
        loop.post([held = std::make_shared<PostsWhenDestroyed>(loop, token)] {});
        loop.scheduleTimer(milliseconds(1), [held = std::make_shared<PostsWhenDestroyed>(loop, token)] {});
    }
    EXPECT_EQ(*token, 0);
    EXPECT_EQ(token.use_count(), 1);
}

TEST(AsioRunLoop, RunsEveryBlockThatManyThreadsPost) {
    constexpr int kThreads = 4;
    constexpr int kBlocks = 2000;
    AsioRunLoop loop;
    int run = 0;
    std::vector<std::thread> posters;
    for (int i = 0; i < kThreads; ++i) {
        posters.emplace_back([&] {
            for (int block = 0; block < kBlocks; ++block) {
                loop.post([&] {
                    if (++run == kThreads * kBlocks) {
                        loop.stop();
                    }
                });
            }
        });
    }
    loop.run();
    for (auto& poster : posters) {
        poster.join();
    }
    EXPECT_EQ(run, kThreads * kBlocks);
}

TEST(AsioRunLoop, IsTakenOverByTheThreadThatWillRunIt) {
    AsioRunLoop loop;
    EXPECT_TRUE(loop.isCurrent());
    std::thread([&] {
        EXPECT_FALSE(loop.isCurrent());
        loop.takeOwnership();
        EXPECT_TRUE(loop.isCurrent());
    }).join();
    EXPECT_FALSE(loop.isCurrent());
    loop.takeOwnership();
    EXPECT_TRUE(loop.isCurrent());
}

TEST(AsioRunLoop, IsNotTakenOverFromAThreadThatIsInsideABlock) {
    AsioRunLoop loop;
    bool wasRefused = false;
    loop.post([&] {
        std::thread([&] {
            try {
                loop.takeOwnership();
            } catch (const std::logic_error&) {
                wasRefused = true;
            }
        }).join();
        EXPECT_TRUE(loop.isCurrent());
        loop.stop();
    });
    loop.run();
    EXPECT_TRUE(wasRefused);
}

TEST(AsioRunLoop, BelongsToTheThreadThatRunsTheHostsContext) {
    boost::asio::io_context context;
    AsioRunLoop loop(context);
    bool isOwner = false;
    loop.post([&] { isOwner = loop.isCurrent(); });
    std::thread([&] { context.run(); }).join();
    EXPECT_TRUE(isOwner);
    EXPECT_FALSE(loop.isCurrent());
}

using AsioRunLoopDeathTest = testing::Test;

TEST_F(AsioRunLoopDeathTest, EndsTheProcessWhenItIsDestroyedInsideItsOwnBlock) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto destroyInside = [](auto makeLoop) {
        auto loop = makeLoop();
        loop->post([&loop] { loop.reset(); });
        loop->run();
    };
    EXPECT_DEATH(destroyInside([] { return std::make_unique<AsioRunLoop>(); }),
                 "a run loop was destroyed inside one of its own blocks");
    boost::asio::io_context context;
    EXPECT_DEATH(destroyInside([&] { return std::make_unique<AsioRunLoop>(context); }),
                 "a run loop was destroyed inside one of its own blocks");
}

}  // namespace
}  // namespace xel
