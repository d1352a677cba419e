#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/ByteStream.h"
#include "XelPushClient/Testing/FakeNetworkConditions.h"

namespace xel {

class NSRunLoop;

/// Where one connection stands, seen from the far end.
enum class FakeConnectionState {
    Opening,        ///< the client is waiting for `accept` or `fail`
    Open,           ///< octets may flow both ways
    EndedByPeer,    ///< the test closed it in order
    Failed,         ///< the test refused it or broke it
    ClosedByClient  ///< the client closed or dropped it
};

/// The far end of one connection of a client: what a server, or a test in its place, does with it.
///
/// What the client hears is posted to the stream's run loop, and so is what the client writes: one block for
/// all writes of a pass. A client that drops its stream loses what it wrote in the same pass; one that closes
/// it after writing does not. Thread: the stream's run loop.
class FakeConnection : public std::enable_shared_from_this<FakeConnection> {
public:
    /// Hears each segment that the client wrote.
    using OctetsHandler = std::function<void(std::string_view octets)>;

    FakeConnection(NSRunLoop& runLoop, std::string host, std::uint16_t port, bool usingTLS);

    [[nodiscard]] const std::string& host() const { return host_; }
    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] bool isUsingTLS() const { return usingTLS_; }
    [[nodiscard]] FakeConnectionState state() const { return state_; }
    [[nodiscard]] bool isOpen() const { return state_ == FakeConnectionState::Open; }

    /// Lets the client's attempt succeed.
    void accept();

    /// Refuses the attempt, or breaks the open connection. What was fed and not received is lost.
    void fail(ByteStreamErrorCode code, std::string_view description);

    /// Sends octets to the client, which gets them once it asks to receive.
    void feed(std::string_view octets);

    /// Closes the connection in order: the client hears of it once it has received everything and asks for
    /// more.
    void endByPeer();

    /// At most so many octets reach the client in one read; 64 KiB at first. 1 makes a client read octet by
    /// octet.
    void setMostOctetsPerRead(std::size_t most) { mostOctetsPerRead_ = most; }

    /// Nothing passes any more, either way, and neither side is told: as after a power failure between
    /// them.
    void sever() { isSevered_ = true; }
    [[nodiscard]] bool isSevered() const { return isSevered_; }

    /// Everything that the client wrote and that arrived, and the same in segments, one a pass of its loop.
    [[nodiscard]] const std::string& written() const { return written_; }
    [[nodiscard]] const std::vector<std::string>& segments() const { return segments_; }

    void clearRecords();

    /// Octets that were fed and that the client has not received yet.
    [[nodiscard]] std::size_t unreceivedCount() const { return toClient_.size(); }

    /// Whether the client has asked to receive and nothing has come yet.
    [[nodiscard]] bool isClientWaiting() const { return receiveWanted_; }

    void setOctetsHandler(OctetsHandler handler) { octetsHandler_ = std::move(handler); }

    /// Called once, posted, when everything that the client wrote before closing in order has arrived.
    void setClosedHandler(std::function<void()> handler) { closedHandler_ = std::move(handler); }

private:
    friend class FakeByteStream;
    friend class FakeNetwork;

    void goOn();
    /// Whether it has ended and nothing of it is still on its way.
    [[nodiscard]] bool isOver() const;
    void breakByNetwork();
    void hearClosed();
    [[nodiscard]] bool isStalled() const { return conditions_->has(FakeNetworkTrouble::Stalled); }
    void attach(ByteStreamObserver& observer) { observer_ = &observer; }
    void receiveFromClientSide();
    void writeFromClientSide(std::string_view octets);
    void closeFromClientSide(bool keepsWritten);
    void scheduleDelivery();
    void deliverOnce();
    void deliverSegment();
    void postToSelf(std::function<void(FakeConnection&)> block);

    NSRunLoop& runLoop_;
    std::string host_;
    std::uint16_t port_;
    bool usingTLS_;
    std::shared_ptr<FakeNetworkConditions> conditions_ = std::make_shared<FakeNetworkConditions>();
    FakeConnectionState state_ = FakeConnectionState::Opening;
    ByteStreamObserver* observer_ = nullptr;
    std::string toClient_;
    std::string fromClient_;
    std::string written_;
    std::vector<std::string> segments_;
    std::size_t mostOctetsPerRead_ = 65536;
    bool clientKnowsOpen_ = false;
    bool receiveWanted_ = false;
    bool deliveryIsPosted_ = false;
    bool segmentIsPosted_ = false;
    bool endWanted_ = false;
    bool closeIsPosted_ = false;
    bool closedWanted_ = false;
    bool isSevered_ = false;
    OctetsHandler octetsHandler_;
    std::function<void()> closedHandler_;
};

/// A network that carries nothing by itself: it hands each connection attempt to a handler (a server such as
/// `FakeBroker`), or leaves it waiting for the test.
/// Thread: the run loop of its streams.
class FakeNetwork final : public ByteStreamFactory {
public:
    using ConnectionHandler = std::function<void(const std::shared_ptr<FakeConnection>& connection)>;

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override;

    /// Called, posted, for each attempt that begins from now on.
    void setConnectionHandler(ConnectionHandler handler) { handler_ = std::move(handler); }

    /// Something goes wrong, or does so no longer.
    void setTrouble(FakeNetworkTrouble trouble, bool isThere);
    /// The connection on which the last of so many octets in that direction passes is lost behind it,
    /// for both sides: counted over all connections from now on, once.
    void breakAfter(FakeDirection direction, std::size_t octets);
    void forgetBreak(FakeDirection direction) { conditions_->octetsUntilBreak.erase(direction); }
    [[nodiscard]] bool isBreakComing(FakeDirection direction) const {
        return conditions_->octetsUntilBreak.contains(direction);
    }
    /// Every attempt, in order.
    [[nodiscard]] const std::vector<std::shared_ptr<FakeConnection>>& connections() const {
        return connections_;
    }

    /// The newest attempt, or null.
    [[nodiscard]] std::shared_ptr<FakeConnection> latest() const {
        return connections_.empty() ? nullptr : connections_.back();
    }
    /// Forgets the attempts that have ended, and what was written so far on the others.
    void clearRecords();

private:
    friend class FakeByteStream;

    void add(NSRunLoop& runLoop, const std::shared_ptr<FakeConnection>& connection);
    void attempt(const std::shared_ptr<FakeConnection>& connection);
    void goOn();
    /// A copy: what is done with one may lead to another attempt.
    [[nodiscard]] std::vector<std::shared_ptr<FakeConnection>> connectionsUnderWay();

    std::vector<std::shared_ptr<FakeConnection>> connections_;
    std::vector<std::shared_ptr<FakeConnection>> underWay_;  // a network that flaps meets no others
    std::vector<std::shared_ptr<FakeConnection>> waiting_;   // neither accepted nor refused
    ConnectionHandler handler_;
    std::shared_ptr<FakeNetworkConditions> conditions_ = std::make_shared<FakeNetworkConditions>();
    Lifeline<FakeNetwork> life_{*this};
};

}  // namespace xel
