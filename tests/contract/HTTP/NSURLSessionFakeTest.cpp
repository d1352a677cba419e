#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/FakeURLSession.h"
#include "tests/contract/HTTP/NSURLSessionContract.h"

namespace xel::contract {
namespace {

class FakeNSURLSessionSubject {
public:
    NSURLSession& session() { return session_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) {
        if (served_) {
            session_.answer(served_->url, served_->status, served_->body);
        }
        loop_->runUntilIdle();
        return done();
    }
    std::string serve(const std::string& path, int status, std::string body) {
        served_ = Served{"https://media.test" + path, status, std::move(body)};
        return served_->url;
    }
    std::optional<std::string> contents(const std::string& path) { return files_->contents(path); }
    bool move(const std::string& from, const std::string& to) { return files_->moveItem(from, to).isOk(); }

private:
    struct Served {
        std::string url;
        int status;
        std::string body;
    };

    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeFileManager> files_ = std::make_shared<FakeFileManager>();
    FakeURLSession session_{loop_, files_};
    std::optional<Served> served_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, NSURLSessionContract, FakeNSURLSessionSubject);

}  // namespace xel::contract
