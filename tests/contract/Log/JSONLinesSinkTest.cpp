#include <array>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Linux/Log/JSONLinesSink.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "tests/contract/Log/DiagnosticsContract.h"
#include "tests/contract/Log/LogSinkContract.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

/// A sink into a file, and into a pipe that nobody reads; what comes is read as JSON, line by line.
class JSONLinesSubject {
public:
    JSONLinesSubject() = default;
    JSONLinesSubject(const JSONLinesSubject&) = delete;
    JSONLinesSubject& operator=(const JSONLinesSubject&) = delete;
    ~JSONLinesSubject() {
        for (const int descriptor : {descriptor_, pipe_[0], pipe_[1]}) {
            ::close(descriptor);
        }
    }

    static std::string whyNot() { return {}; }
    LogSink& sink() { return sink_; }
    Diagnostics& diagnostics() { return sink_; }
    std::vector<std::string> takeLines() { return takeTexts("line"); }
    std::vector<std::string> takeTypes() { return takeTexts("type"); }
    void stopReading() {
        EXPECT_EQ(::pipe2(pipe_.data(), O_CLOEXEC), 0);
        ::dup2(pipe_[1], descriptor_);
    }
    std::vector<Dictionary> takeObjects() {
        std::vector<Dictionary> objects;
        for (std::string line; std::getline(file_, line);) {
            const auto object = SimdjsonSerialization().JSONObjectWithData(line);
            EXPECT_TRUE(object && object.value().asDictionary() != nullptr) << line;
            objects.push_back(object ? *object.value().asDictionary() : Dictionary());
        }
        return objects;
    }

private:
    std::vector<std::string> takeTexts(const char* key) {
        std::vector<std::string> texts;
        for (const auto& object : takeObjects()) {
            const Value* text = object.find(key);
            texts.push_back(text != nullptr && text->asString() != nullptr ? *text->asString() : "(no text)");
        }
        return texts;
    }
    std::string path() { return folder_.path() + "/lines"; }

    TemporaryFolder folder_;
    int descriptor_ = ::open(path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    std::array<int, 2> pipe_{-1, -1};
    std::ifstream file_{path()};
    JSONLinesSink sink_{descriptor_, std::make_shared<FakeClock>(std::make_shared<FakeRunLoop>())};
};

TEST(JSONLinesSink, WritesTimeKindAndFields) {
    JSONLinesSubject subject;
    subject.diagnostics().record(DisconnectEnded{true, std::chrono::milliseconds(14)});
    subject.sink().write("a \"quoted\" line");
    const auto objects = subject.takeObjects();
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(printJSON(objects[0], JSONLayout::OneLine),
              R"({"time":1772357400000,"type":"disconnect-ended","everythingWasSent":true,"durationMs":14})");
    EXPECT_EQ(printJSON(objects[1], JSONLayout::OneLine),
              R"({"time":1772357400000,"type":"log","line":"a \"quoted\" line"})");
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(JSONLines, LogSinkContract, JSONLinesSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(JSONLines, UnreadLogSinkContract, JSONLinesSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(JSONLines, DiagnosticsContract, JSONLinesSubject);

}  // namespace xel::contract
