#include "XelPushClient/Testing/FakeHTTPTransport.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/HTTP/HTTPTransportContract.h"

namespace xel::contract {
namespace {

class FakeHTTPTransportSubject {
public:
    FakeHTTPTransportSubject() {
        http_.fail("GET", "refused", NSURLErrorCode::CannotConnectToHost,
                   "could not connect to refused.test");
    }

    HTTPTransport& http() { return http_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) {
        loop_->runUntilIdle();
        return done();
    }
    std::string baseURL() { return "https://backend.test"; }
    void serve(std::string_view method, std::string_view path, int status, std::string body) {
        http_.answerAlways(method, path, status, std::move(body));
    }
    std::vector<HTTPRequest> seen() { return http_.requests(); }
    std::string refusedURL() { return "https://refused.test/refused"; }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    FakeHTTPTransport http_{loop_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, HTTPTransportContract, FakeHTTPTransportSubject);

}  // namespace xel::contract
