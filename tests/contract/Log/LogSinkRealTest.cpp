#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "XelPushClient/Linux/Log/StandardErrorLogSink.h"
#include "XelPushClient/Linux/Log/SyslogLogSink.h"
#include "tests/contract/Log/DatagramReader.h"
#include "tests/contract/Log/LogSinkContract.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

/// Standard error, led into a file, and into a pipe that nobody reads.
class StandardErrorSubject {
public:
    StandardErrorSubject() : standardError_(::dup(STDERR_FILENO)) {
        const int file = ::open(path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        ::dup2(file, STDERR_FILENO);
        ::close(file);
    }
    StandardErrorSubject(const StandardErrorSubject&) = delete;
    StandardErrorSubject& operator=(const StandardErrorSubject&) = delete;
    ~StandardErrorSubject() {
        ::dup2(standardError_, STDERR_FILENO);
        for (const int descriptor : {standardError_, pipe_[0], pipe_[1]}) {
            ::close(descriptor);
        }
    }

    static std::string whyNot() { return {}; }
    LogSink& sink() { return sink_; }
    std::vector<std::string> takeLines() {
        std::vector<std::string> lines;
        for (std::string line; std::getline(file_, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    void stopReading() {
        ASSERT_EQ(::pipe2(pipe_.data(), O_CLOEXEC), 0);
        ::dup2(pipe_[1], STDERR_FILENO);
    }
    /// What the pipe holds.
    std::string readPipe() {
        std::string text(1 << 20, '\0');
        const auto length = ::read(pipe_[0], text.data(), text.size());
        text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return text;
    }
    void closeReader() {
        ::close(pipe_[0]);
        pipe_[0] = -1;
    }

private:
    std::string path() { return folder_.path() + "/log"; }

    TemporaryFolder folder_;
    int standardError_;
    std::array<int, 2> pipe_{-1, -1};
    std::ifstream file_{(std::ofstream(path()), path())};
    StandardErrorLogSink sink_;
};

/// The machine's log, played by a socket in the place where syslog(3) writes to, for this thread alone.
class SyslogSubject {
public:
    SyslogSubject() {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount(folder_.path().c_str(), "/dev", nullptr, MS_BIND, nullptr) != 0) {
            whyNot_ = std::string("a mount namespace is not permitted: ") + std::strerror(errno);
        }
    }
    SyslogSubject(const SyslogSubject&) = delete;
    SyslogSubject& operator=(const SyslogSubject&) = delete;
    ~SyslogSubject() {
        if (whyNot_.empty()) {
            ::umount2("/dev", MNT_DETACH);
        }
    }

    std::string whyNot() { return whyNot_; }
    LogSink& sink() { return sink_; }
    std::vector<std::string> takeLines() {
        std::vector<std::string> lines;
        for (const auto& record : reader_.take()) {
            const auto start = record.find(kIdentity);
            EXPECT_NE(start, std::string::npos) << record;
            lines.push_back(record.substr(record.find("]: ", start) + 3));
        }
        return lines;
    }

private:
    static constexpr std::string_view kIdentity = "xelpush-test[";

    TemporaryFolder folder_;
    std::string whyNot_;
    DatagramReader reader_{folder_.path() + "/log"};
    SyslogLogSink sink_{"xelpush-test"};
};

TEST(StandardErrorLogSink, GoesOnWithAWholeLineWhenItIsReadAgain) {
    StandardErrorSubject subject;
    ASSERT_NO_FATAL_FAILURE(subject.stopReading());
    for (int i = 0; i < 3; ++i) {
        subject.sink().write(std::string(100'000, 'z'));
    }
    static_cast<void>(subject.readPipe());
    subject.sink().write("here again");
    EXPECT_EQ(subject.readPipe(), "\nhere again\n");
}

TEST(StandardErrorLogSink, OutlivesWhoeverReadIt) {
    StandardErrorSubject subject;
    ASSERT_NO_FATAL_FAILURE(subject.stopReading());
    subject.closeReader();
    subject.sink().write("nobody");
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(StandardError, LogSinkContract, StandardErrorSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(StandardError, UnreadLogSinkContract, StandardErrorSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(Syslog, LogSinkContract, SyslogSubject);

}  // namespace xel::contract
