#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/ByteStream.h"
#include "XelPushClient/Platform/ForwardingSessionMemory.h"
#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/MQTTSession.h"
#include "XelPushClient/Platform/NSFileManager.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"
#include "XelPushClient/Platform/NSOperationQueue.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/NSUserDefaults.h"
#include "tests/torture/Strokes.h"

namespace xel::torture {

// The ports of a fake machine, each of whose answers may fail as its contract lets it. What they call back is
// the client, and what they do themselves is not: `InClient` and `OutsideClient` say so.

class TorturedRunLoop final : public NSRunLoop {
public:
    explicit TorturedRunLoop(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    void post(std::function<void()> block) override;
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override;
    [[nodiscard]] bool isCurrent() const override { return runLoop_->isCurrent(); }
    void run() override { runLoop_->run(); }
    void stop() override { runLoop_->stop(); }

private:
    std::shared_ptr<NSRunLoop> runLoop_;
};

class TorturedStreams final : public ByteStreamFactory {
public:
    /// Streams tell on the raw loop what they have to tell.
    TorturedStreams(std::shared_ptr<ByteStreamFactory> streams, std::shared_ptr<NSRunLoop> rawRunLoop,
                    Strokes& strokes)
        : streams_(std::move(streams)), rawRunLoop_(std::move(rawRunLoop)), strokes_(strokes) {}

    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override;

private:
    std::shared_ptr<ByteStreamFactory> streams_;
    std::shared_ptr<NSRunLoop> rawRunLoop_;
    Strokes& strokes_;
};

class TorturedHTTP final : public HTTPTransport {
public:
    TorturedHTTP(std::shared_ptr<HTTPTransport> http, std::shared_ptr<NSRunLoop> rawRunLoop, Strokes& strokes)
        : http_(std::move(http)), rawRunLoop_(std::move(rawRunLoop)), strokes_(strokes) {}

    void send(HTTPRequest request, Completion completion) override;

private:
    std::shared_ptr<HTTPTransport> http_;
    std::shared_ptr<NSRunLoop> rawRunLoop_;
    Strokes& strokes_;
};

class TorturedDefaults final : public NSUserDefaults {
public:
    TorturedDefaults(std::shared_ptr<NSUserDefaults> defaults, Strokes& strokes)
        : defaults_(std::move(defaults)), strokes_(strokes) {}

    [[nodiscard]] std::optional<Value> objectForKey(std::string_view key) const override {
        return defaults_->objectForKey(key);
    }
    void setObject(std::string_view key, Value value) override;
    void removeObject(std::string_view key) override;
    [[nodiscard]] bool synchronize() override;
    void synchronizeTurn(std::function<void(bool)> done) override;

private:
    std::shared_ptr<NSUserDefaults> defaults_;
    Strokes& strokes_;
};

class TorturedMemory final : public ForwardingSessionMemory {
public:
    TorturedMemory(std::shared_ptr<SessionMemory> memory, Strokes& strokes)
        : ForwardingSessionMemory(std::move(memory)), strokes_(strokes) {}

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override;
    void erase(std::string_view clientId) override;

private:
    Strokes& strokes_;
};

class TorturedQueues final : public NSOperationQueueFactory {
public:
    TorturedQueues(std::shared_ptr<NSOperationQueueFactory> queues, Strokes& strokes)
        : queues_(std::move(queues)), strokes_(strokes) {}

    [[nodiscard]] std::shared_ptr<NSOperationQueue> makeOperationQueue(
        std::string name, int maxConcurrentOperationCount) override;

private:
    std::shared_ptr<NSOperationQueueFactory> queues_;
    Strokes& strokes_;
};

class TorturedJSON final : public NSJSONSerialization {
public:
    TorturedJSON(std::shared_ptr<NSJSONSerialization> json, Strokes& strokes)
        : json_(std::move(json)), strokes_(strokes) {}

    [[nodiscard]] Result<Value> JSONObjectWithData(std::string_view data) override;

private:
    std::shared_ptr<NSJSONSerialization> json_;
    Strokes& strokes_;
};

class TorturedFiles final : public NSFileManager {
public:
    TorturedFiles(std::shared_ptr<NSFileManager> files, Strokes& strokes)
        : files_(std::move(files)), strokes_(strokes) {}

    [[nodiscard]] Result<void> moveItem(const std::string& from, const std::string& to) override;
    [[nodiscard]] Result<void> writeNewFile(std::string_view content, const std::string& path) override;

private:
    std::shared_ptr<NSFileManager> files_;
    Strokes& strokes_;
};

}  // namespace xel::torture
