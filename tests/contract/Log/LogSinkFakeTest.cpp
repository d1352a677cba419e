#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/contract/Log/LogSinkContract.h"

namespace xel::contract {
namespace {

class RecordingLogSinkSubject {
public:
    static std::string whyNot() { return {}; }
    LogSink& sink() { return sink_; }
    std::vector<std::string> takeLines() {
        auto lines = sink_.lines();
        sink_.clear();
        return lines;
    }

private:
    RecordingLogSink sink_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LogSinkContract, RecordingLogSinkSubject);

}  // namespace xel::contract
