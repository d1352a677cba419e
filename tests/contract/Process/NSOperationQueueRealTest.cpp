#include <chrono>
#include <functional>
#include <thread>

#include "XelPushClient/Linux/Process/ThreadOperationQueue.h"
#include "tests/contract/Process/NSOperationQueueContract.h"

namespace xel::contract {
namespace {

class AsioSubject {
public:
    NSOperationQueueFactory& factory() { return factory_; }
    bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        return done();
    }

private:
    ThreadOperationQueueFactory factory_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Asio, NSOperationQueueContract, AsioSubject);

}  // namespace xel::contract
