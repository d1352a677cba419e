#include <cstddef>
#include <functional>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/system/error_code.hpp>
#include <gtest/gtest.h>

#include "sandbox/process/HttpRequests.h"

namespace xel::sandbox {
namespace {

/// A client's side of a connection, from which the test lets octets come.
class Sender {
public:
    using Read = std::function<void(boost::system::error_code error, std::size_t count)>;

    void async_read_some(boost::asio::mutable_buffer room, Read read) {
        EXPECT_GT(room.size(), 0U);
        read_ = std::move(read);
    }

    void send(std::size_t count) { std::exchange(read_, nullptr)({}, count); }
    void end() { std::exchange(read_, nullptr)(boost::asio::error::eof, 0); }
    [[nodiscard]] bool isRead() const { return read_ != nullptr; }

private:
    Read read_;
};

class DrainTest : public ::testing::Test {
protected:
    void drainAtMost(std::size_t most) {
        drain(sender_, buffer_, most, [this] { ++timesDone_; });
    }

    Sender sender_;
    boost::beast::flat_buffer buffer_;
    int timesDone_ = 0;
};

TEST_F(DrainTest, GoesOnUntilTheClientHasEnded) {
    drainAtMost(1000);
    sender_.send(500);
    sender_.send(499);
    EXPECT_EQ(timesDone_, 0);
    sender_.end();
    EXPECT_EQ(timesDone_, 1);
    EXPECT_FALSE(sender_.isRead());
}

TEST_F(DrainTest, IsDoneWhenTheMostHasCome) {
    drainAtMost(1000);
    sender_.send(999);
    EXPECT_EQ(timesDone_, 0);
    sender_.send(1);
    EXPECT_EQ(timesDone_, 1);
    EXPECT_FALSE(sender_.isRead());
}

TEST_F(DrainTest, KeepsNothing) {
    drainAtMost(10'000'000);
    const std::size_t room = buffer_.capacity();
    for (int piece = 0; piece < 50; ++piece) {
        sender_.send(64 * 1024);
    }
    EXPECT_EQ(buffer_.size(), 0U);
    EXPECT_EQ(buffer_.capacity(), room);
}

}  // namespace
}  // namespace xel::sandbox
