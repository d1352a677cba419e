// What this machine asks for the steps that every subject's figure is made of, so that a target can say
// "so many of these" instead of microseconds, which would judge the kernel and the processor as well:
//
//   send      64 octets into a connected loopback socket that nobody sleeps on
//   receive   64 octets out of it
//   pwrite    1 KiB over the same place of a file that is there already
//   message   computing without a system call: texts, numbers and allocations of one sample message
//
// Each in a loop, as in a flood, where code and data are warm, and then once more in turns, as where a
// message comes alone: a thread sleeps on the socket for 500 us, is woken (`wake` holds the waiting and
// the receive), and takes the other steps once.
//
//   price_of_calls [--state-dir D] [--rounds R] [--turns T]
//
// Prints the medians (CPU time of the thread, user and system, in microseconds) as one line of JSON.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/common/OwnedDescriptor.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"

namespace xel::bench {

namespace {

constexpr int kRepeats = 400;  // of one step in a round; as many packets fit a socket's buffer
constexpr std::chrono::microseconds kBetweenTurns{500};
constexpr std::size_t kPacketBytes = 64;
constexpr std::size_t kRecordBytes = 1024;

void require(bool worked, const char* what) {
    if (!worked) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

double threadCpuMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

/// Two ends of one connection over the loopback, which two threads may hold.
class LoopbackPair {
public:
    LoopbackPair() : listener_(socket(AF_INET, SOCK_STREAM, 0)), writer_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        require(bind(listener_.get(), generic, size) == 0, "bind");
        require(listen(listener_.get(), 1) == 0, "listen");
        require(getsockname(listener_.get(), generic, &size) == 0, "getsockname");
        require(connect(writer_.get(), generic, size) == 0, "connect");
        reader_ = accept(listener_.get(), nullptr, nullptr);
        require(reader_ >= 0, "accept");
        const int on = 1;
        require(setsockopt(writer_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0, "TCP_NODELAY");
    }
    ~LoopbackPair() { close(reader_); }
    LoopbackPair(const LoopbackPair&) = delete;
    LoopbackPair& operator=(const LoopbackPair&) = delete;

    void sendPacket() {
        require(send(writer_.get(), sent_.data(), sent_.size(), MSG_NOSIGNAL) == kPacketBytes, "send");
    }
    void receivePacket() {
        require(recv(reader_, received_.data(), received_.size(), MSG_WAITALL) == kPacketBytes, "recv");
    }

private:
    OwnedDescriptor listener_;
    OwnedDescriptor writer_;
    int reader_ = -1;
    // One for each thread that may hold an end.
    std::array<char, kPacketBytes> sent_{};
    std::array<char, kPacketBytes> received_{};
};

/// The figures of one step, a round each.
class Price {
public:
    void measure(int repeats, const std::function<void()>& step) {
        const double before = threadCpuMicroseconds();
        for (int i = 0; i < repeats; ++i) {
            step();
        }
        rounds_.push_back((threadCpuMicroseconds() - before) / repeats);
    }

    double median() {
        std::sort(rounds_.begin(), rounds_.end());
        return rounds_[rounds_.size() / 2];
    }

private:
    std::vector<double> rounds_;
};

/// The file that is written over and over, and the other steps that are not the socket's.
class Steps {
public:
    explicit Steps(const std::string& folder)
        : file_(open((folder + "/price-of-calls").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {}

    void write() {
        require(pwrite(file_.get(), record_.data(), record_.size(), 0) == kRecordBytes, "pwrite");
    }
    void makeMessage() { octets_ += makeSampleMessage(next_++).payload.size(); }

    std::size_t octets() const { return octets_; }

private:
    OwnedDescriptor file_;
    std::array<char, kRecordBytes> record_{};
    std::uint64_t next_ = 0;
    std::size_t octets_ = 0;
};

struct Prices {
    Price send;
    Price receive;
    Price write;
    Price message;
    Price wake;
};

void measureLoops(Prices& prices, Steps& steps, std::uint64_t rounds) {
    LoopbackPair loopback;
    // The steps take turns, so that a neighbour who comes and goes is part of each of them.
    for (std::uint64_t round = 0; round < rounds; ++round) {
        prices.send.measure(kRepeats, [&] { loopback.sendPacket(); });
        prices.receive.measure(kRepeats, [&] { loopback.receivePacket(); });
        prices.write.measure(kRepeats, [&] { steps.write(); });
        prices.message.measure(kRepeats, [&] { steps.makeMessage(); });
    }
}

void measureTurns(Prices& prices, Steps& steps, std::uint64_t turns) {
    LoopbackPair incoming;
    LoopbackPair outgoing;
    std::jthread sender([&] {
        for (std::uint64_t turn = 0; turn < turns; ++turn) {
            std::this_thread::sleep_for(kBetweenTurns);
            incoming.sendPacket();
        }
    });
    for (std::uint64_t turn = 0; turn < turns; ++turn) {
        prices.wake.measure(1, [&] { incoming.receivePacket(); });
        prices.message.measure(1, [&] { steps.makeMessage(); });
        prices.write.measure(1, [&] { steps.write(); });
        prices.send.measure(1, [&] { outgoing.sendPacket(); });
        prices.receive.measure(1, [&] { outgoing.receivePacket(); });
    }
}

int run(const BenchOptions& options) {
    Steps steps(options.text("state-dir", "."));
    Prices loops;
    measureLoops(loops, steps, std::max<std::uint64_t>(options.number("rounds", 101), 1));
    Prices turns;
    measureTurns(turns, steps, std::max<std::uint64_t>(options.number("turns", 2001), 1));
    std::printf(R"({"send_us":%.3f,"receive_us":%.3f,"pwrite_us":%.3f,"message_us":%.3f,)"
                R"("turn_wake_us":%.3f,"turn_send_us":%.3f,"turn_receive_us":%.3f,"turn_pwrite_us":%.3f,)"
                R"("turn_message_us":%.3f,"octets":%zu})"
                "\n",
                loops.send.median(), loops.receive.median(), loops.write.median(), loops.message.median(),
                turns.wake.median(), turns.send.median(), turns.receive.median(), turns.write.median(),
                turns.message.median(), steps.octets());
    return 0;
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
