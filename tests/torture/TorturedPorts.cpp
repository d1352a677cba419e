#include "tests/torture/TorturedPorts.h"

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "tests/torture/Memory.h"

namespace xel::torture {
namespace {

std::function<void()> inClient(std::function<void()> block) {
    return [block = std::move(block)] {
        const InClient in;
        block();
    };
}

NSError refusal(std::string_view what) {
    return makeError("Torture", 1, what);
}

/// Tells the client what a stream tells.
class TorturedObserver final : public ByteStreamObserver {
public:
    explicit TorturedObserver(ByteStreamObserver& observer) : observer_(observer) {}

    void streamDidOpen() override {
        const InClient in;
        observer_.streamDidOpen();
    }
    void streamDidReceive(std::string_view octets) override {
        const InClient in;
        observer_.streamDidReceive(octets);
    }
    void streamDidEndByPeer() override {
        const InClient in;
        observer_.streamDidEndByPeer();
    }
    void streamDidFail(const NSError& error) override {
        const InClient in;
        observer_.streamDidFail(error);
    }

private:
    ByteStreamObserver& observer_;
};

class TorturedStream final : public ByteStream {
public:
    TorturedStream(ByteStreamFactory& streams, NSRunLoop& runLoop, ByteStreamObserver& observer,
                   Strokes& strokes)
        : runLoop_(runLoop),
          observer_(std::make_shared<TorturedObserver>(observer)),
          stream_(streams.makeStream(runLoop, *observer_)),
          strokes_(strokes) {}
    TorturedStream(const TorturedStream&) = delete;
    TorturedStream& operator=(const TorturedStream&) = delete;
    ~TorturedStream() override {
        const OutsideClient outside;
        stream_.reset();
    }

    void open(std::string_view host, std::uint16_t port, bool usingTLS) override {
        const OutsideClient outside;
        if (!breaks()) {
            stream_->open(host, port, usingTLS);
        }
    }
    void receive() override {
        needMemory();
        const OutsideClient outside;
        if (!breaks()) {
            stream_->receive();
        }
    }
    void write(std::string_view octets) override {
        needMemory();
        const OutsideClient outside;
        if (!breaks()) {
            stream_->write(octets);
        }
    }
    void closeAfterWriting(Ended ended) override {
        needMemory();
        const OutsideClient outside;
        if (stream_ != nullptr) {
            stream_->closeAfterWriting(std::move(ended));
        } else if (ended) {
            runLoop_.post([ended = std::move(ended)] { ended(false); });
        }
    }

private:
    /// A connection that breaks takes what was written in the same pass with it, and is told of once.
    bool breaks() {
        if (stream_ != nullptr && strokes_.falls()) {
            stream_.reset();
            runLoop_.post([weak = std::weak_ptr(observer_)] {
                if (const auto observer = weak.lock()) {
                    observer->streamDidFail(
                        makeError(kByteStreamErrorDomain,
                                  static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionLost), "torture"));
                }
            });
        }
        return stream_ == nullptr;
    }

    NSRunLoop& runLoop_;
    std::shared_ptr<TorturedObserver> observer_;
    std::unique_ptr<ByteStream> stream_;
    Strokes& strokes_;
};

class TorturedQueue final : public NSOperationQueue {
public:
    TorturedQueue(std::shared_ptr<NSOperationQueue> queue, Strokes& strokes)
        : queue_(std::move(queue)), strokes_(strokes) {}

    [[nodiscard]] const std::string& name() const override { return queue_->name(); }
    [[nodiscard]] int maxConcurrentOperationCount() const override {
        return queue_->maxConcurrentOperationCount();
    }
    void addOperationWithBlock(std::function<void()> block) override {
        needMemory();
        const OutsideClient outside;
        if (strokes_.falls()) {
            throw std::system_error(EAGAIN, std::generic_category());
        }
        queue_->addOperationWithBlock([block = std::move(block)] {
            try {
                const InClient in;
                block();
            } catch (const std::exception&) {
                return;  // an operation fails alone
            }
        });
    }

private:
    std::shared_ptr<NSOperationQueue> queue_;
    Strokes& strokes_;
};

}  // namespace

void TorturedRunLoop::post(std::function<void()> block) {
    needMemory();
    const OutsideClient outside;
    runLoop_->post(inClient(std::move(block)));
}

std::shared_ptr<NSTimer> TorturedRunLoop::scheduleTimer(std::chrono::milliseconds delay,
                                                        std::function<void()> block) {
    needMemory();
    const OutsideClient outside;
    return runLoop_->scheduleTimer(delay, inClient(std::move(block)));
}

std::unique_ptr<ByteStream> TorturedStreams::makeStream(NSRunLoop& /*runLoop*/,
                                                        ByteStreamObserver& observer) {
    needMemory();
    const OutsideClient outside;
    return std::make_unique<TorturedStream>(*streams_, *rawRunLoop_, observer, strokes_);
}

void TorturedHTTP::send(HTTPRequest request, Completion completion) {
    needMemory();
    const OutsideClient outside;
    const auto answer = [completion = std::move(completion)](Result<HTTPResponse> outcome) {
        const InClient in;
        completion(std::move(outcome));
    };
    if (strokes_.falls()) {
        rawRunLoop_->post([answer] {
            answer(makeError(NSURLErrorDomain,
                             static_cast<std::int64_t>(NSURLErrorCode::NetworkConnectionLost), "torture"));
        });
        return;
    }
    http_->send(std::move(request), answer);
}

void TorturedDefaults::setObject(std::string_view key, Value value) {
    needMemory();
    const OutsideClient outside;
    defaults_->setObject(key, std::move(value));
}

void TorturedDefaults::removeObject(std::string_view key) {
    needMemory();
    const OutsideClient outside;
    defaults_->removeObject(key);
}

bool TorturedDefaults::synchronize() {
    needMemory();
    const OutsideClient outside;
    return !strokes_.falls() && defaults_->synchronize();
}

void TorturedDefaults::synchronizeTurn(std::function<void(bool)> done) {
    needMemory();
    const OutsideClient outside;
    const auto answer = [done = std::move(done)](bool isStored) {
        const InClient in;
        done(isStored);
    };
    if (strokes_.falls()) {
        answer(false);
        return;
    }
    defaults_->synchronizeTurn(answer);
}

Result<std::vector<OutboxEntry>> TorturedMemory::loadOutbox(std::string_view clientId) {
    needMemory();
    const OutsideClient outside;
    if (strokes_.falls()) {
        return refusal("the disk cannot be read");
    }
    return ForwardingSessionMemory::loadOutbox(clientId);
}

Result<void> TorturedMemory::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    needMemory();
    const OutsideClient outside;
    if (strokes_.falls()) {
        return refusal("the disk is full");
    }
    return ForwardingSessionMemory::appendToOutbox(clientId, entry);
}

void TorturedMemory::removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) {
    needMemory();
    const OutsideClient outside;
    ForwardingSessionMemory::removeFromOutbox(clientId, packetIds);
}

Result<void> TorturedMemory::storeGrantedTopics(std::string_view clientId, const TopicTable& topics) {
    needMemory();
    const OutsideClient outside;
    if (strokes_.falls()) {
        return refusal("the disk is full");
    }
    return ForwardingSessionMemory::storeGrantedTopics(clientId, topics);
}

void TorturedMemory::erase(std::string_view clientId) {
    needMemory();
    const OutsideClient outside;
    ForwardingSessionMemory::erase(clientId);
}

std::shared_ptr<NSOperationQueue> TorturedQueues::makeOperationQueue(std::string name,
                                                                     int maxConcurrentOperationCount) {
    const OutsideClient outside;
    return std::make_shared<TorturedQueue>(
        queues_->makeOperationQueue(std::move(name), maxConcurrentOperationCount), strokes_);
}

Result<Value> TorturedJSON::JSONObjectWithData(std::string_view data) {
    if (strokes_.falls()) {
        return refusal("unreadable");
    }
    return json_->JSONObjectWithData(data);
}

Result<void> TorturedFiles::moveItem(const std::string& from, const std::string& to) {
    const OutsideClient outside;
    if (strokes_.falls()) {
        return makeFileError(NSFileErrorCode::WriteUnknown, "the disk is full");
    }
    return files_->moveItem(from, to);
}

Result<void> TorturedFiles::writeNewFile(std::string_view content, const std::string& path) {
    const OutsideClient outside;
    if (strokes_.falls()) {
        return makeFileError(NSFileErrorCode::WriteUnknown, "the disk is full");
    }
    return files_->writeNewFile(content, path);
}

}  // namespace xel::torture
