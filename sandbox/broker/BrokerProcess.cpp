#include "sandbox/broker/BrokerProcess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <future>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/asio/buffers_iterator.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <boost/asio/use_future.hpp>
#include <sys/wait.h>
#include <unistd.h>

#include "sandbox/process/ChildProcess.h"
#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {

namespace asio = boost::asio;
namespace fs = std::filesystem;

namespace {

// What the broker remarks on, though it was told to do just that: it runs as root, but on the loopback
// interface only; and too large a message is to be dropped, not to end the connection of the client that
// repeats it.
bool isExpected(std::string_view line) {
    return line.find("should not be run as root") != std::string_view::npos ||
           line.find("recommended to replace `message_size_limit`") != std::string_view::npos;
}

}  // namespace

// One run of the broker. Everything but the result of `end` is touched on the loop's thread only.
class BrokerProcess::Child : public std::enable_shared_from_this<Child> {
public:
    Child(asio::io_context& loop, ProgressLog& log, UnexpectedEnd onUnexpectedEnd)
        : log_(log), onUnexpectedEnd_(std::move(onUnexpectedEnd)), output_(loop), killTimer_(loop) {}

    void start(const std::vector<std::string>& arguments) {
        const StartedChild started = startChild(arguments);
        pid_ = started.pid;
        output_.assign(started.output);
        readLine();
    }

    void askToEnd() {
        // Once it was reaped the number may be another process's.
        if (stopping_ || ended_) {
            return;
        }
        stopping_ = true;
        ::kill(pid_, SIGTERM);
        killTimer_.expires_after(kPatience);
        killTimer_.async_wait([weak = weak_from_this()](const boost::system::error_code& error) {
            const auto self = weak.lock();
            if (self && !error && !self->ended_) {
                self->log_.write("mosquitto does not end: killing it");
                ::kill(self->pid_, SIGKILL);
            }
        });
    }

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] std::shared_future<std::string> end() const { return end_; }

private:
    static constexpr std::chrono::seconds kPatience{5};
    static constexpr std::size_t kLongestLine = 65536;

    // The pipe ends when the child does: mosquitto starts no process of its own.
    void readLine() {
        asio::async_read_until(
            output_, buffer_, '\n',
            [self = shared_from_this()](const boost::system::error_code& error, std::size_t length) {
                self->passLineOn(error ? self->buffer_.size() : length);
                if (error) {
                    self->reap();
                } else {
                    self->readLine();
                }
            });
    }

    void passLineOn(std::size_t length) {
        const auto begin = asio::buffers_begin(buffer_.data());
        std::string line(begin, begin + static_cast<std::ptrdiff_t>(length));
        buffer_.consume(length);
        if (line.ends_with('\n')) {
            line.pop_back();
        }
        if (!line.empty() && !isExpected(line)) {
            lastLine_ = withoutControlCharacters(line);
            log_.write("mosquitto: " + lastLine_);
        }
    }

    void reap() {
        int status = 0;
        if (!stopping_) {
            ::kill(pid_, SIGKILL);  // it closed its output, or wrote an endless line: it cannot be watched
        }
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {}
        ended_ = true;
        killTimer_.cancel();
        std::string reason = "mosquitto " + describeEnd(status);
        if (!lastLine_.empty()) {
            reason += "; its last words: " + lastLine_;
        }
        ending_.set_value(reason);
        if (!stopping_) {
            onUnexpectedEnd_(std::move(reason));
        }
    }

    ProgressLog& log_;
    UnexpectedEnd onUnexpectedEnd_;
    asio::posix::stream_descriptor output_;
    asio::steady_timer killTimer_;
    asio::streambuf buffer_{kLongestLine};
    std::string lastLine_;
    pid_t pid_{0};
    bool stopping_{false};
    bool ended_{false};
    std::promise<std::string> ending_;
    std::shared_future<std::string> end_{ending_.get_future().share()};
};

BrokerProcess::BrokerProcess(asio::io_context& loop, ProgressLog& log, UnexpectedEnd onUnexpectedEnd)
    : loop_(loop), log_(log), onUnexpectedEnd_(std::move(onUnexpectedEnd)) {}

BrokerProcess::~BrokerProcess() {
    stop();
}

void BrokerProcess::start(const fs::path& program, const fs::path& configurationFile) {
    stop();
    auto child = std::make_shared<Child>(loop_, log_, onUnexpectedEnd_);
    asio::post(loop_, asio::use_future([child, program, configurationFile] {
                   child->start({program.string(), "-c", configurationFile.string()});
               }))
        .get();
    child_ = std::move(child);
}

void BrokerProcess::stop() {
    if (child_ == nullptr) {
        return;
    }
    asio::post(loop_, [child = child_] { child->askToEnd(); });
    child_->end().wait();
    child_.reset();
}

std::string BrokerProcess::endReason() {
    if (child_ == nullptr || child_->end().wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        return {};
    }
    return child_->end().get();
}

int BrokerProcess::pid() {
    return child_ == nullptr ? 0 : child_->pid();
}

fs::path findBrokerProgram(const fs::path& wanted) {
    if (!wanted.empty()) {
        if (::access(wanted.c_str(), X_OK) == 0) {
            return wanted;
        }
        throw SandboxError("there is no broker '" + wanted.string() +
                           "' to start; install mosquitto with: apt-get install mosquitto");
    }
    const char* path = std::getenv("PATH");
    std::string folders = path == nullptr ? "" : path;
    folders += ":/usr/sbin:/usr/local/sbin";  // not on the PATH of every user
    std::string_view rest = folders;
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        fs::path candidate = fs::path(rest.substr(0, colon)) / "mosquitto";
        if (candidate.is_absolute() && ::access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
        rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
    }
    throw SandboxError("mosquitto, the broker, is not installed; install it with: apt-get install mosquitto");
}

}  // namespace xel::sandbox
