#include "tests/matrix/support/RealBroker.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <sys/wait.h>
#include <unistd.h>

#include "sandbox/broker/BrokerProcess.h"
#include "sandbox/process/ChildProcess.h"
#include "sandbox/process/Ports.h"

namespace xel::matrix {
namespace {

bool listens(std::uint16_t port) {
    boost::asio::io_context context;
    boost::asio::ip::tcp::socket socket(context);
    boost::system::error_code error;
    socket.connect({boost::asio::ip::address_v4::loopback(), port}, error);
    return !error;
}

}  // namespace

RealBroker::RealBroker(Options options)
    : options_(std::move(options)), port_(sandbox::claimPort("127.0.0.1", 0, "a test's broker")) {
    start();
}

RealBroker::~RealBroker() {
    kill();
}

void RealBroker::configure() const {
    std::ofstream text(folder() + "/broker.conf");
    text << "per_listener_settings false\n"
         << "listener " << port_ << " 127.0.0.1\n";
    if (!options_.certificate.empty()) {
        std::ofstream(folder() + "/server.pem") << options_.certificate.front().certificate;
        std::ofstream(folder() + "/server.key") << options_.certificate.front().key;
        text << "certfile " << folder() << "/server.pem\nkeyfile " << folder() << "/server.key\n";
    }
    text << "set_tcp_nodelay true\n"
         << "log_dest none\n"
         << "persistence " << (options_.keepsSessions ? "true" : "false") << "\n"
         << "persistence_location " << folder() << "/\n"
         << "autosave_on_changes true\n"
         << "autosave_interval 1\n";
    if (geteuid() == 0) {
        text << "user root\n";
    }
    bool saysWhoMayEnter = false;
    for (const std::string& line : options_.lines) {
        text << line << "\n";
        saysWhoMayEnter = saysWhoMayEnter || line.rfind("allow_anonymous", 0) == 0;
    }
    if (!saysWhoMayEnter) {
        text << "allow_anonymous true\n";
    }
}

void RealBroker::start() {
    configure();
    const auto child = sandbox::startChild({sandbox::findBrokerProgram({}), "-c", folder() + "/broker.conf"});
    pid_ = child.pid;
    output_ = child.output;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!listens(port_)) {
        if (std::chrono::steady_clock::now() > deadline || waitpid(pid_, nullptr, WNOHANG) != 0) {
            throw std::runtime_error("a test's broker does not start");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void RealBroker::endBy(int signal) {
    if (pid_ > 0) {
        ::kill(pid_, signal);
        ::kill(pid_, SIGCONT);
        waitpid(pid_, nullptr, 0);
        close(output_);
    }
    pid_ = -1;
}

void RealBroker::suspend() {
    ::kill(pid_, SIGSTOP);
    int status = 0;
    waitpid(pid_, &status, WUNTRACED);
}

void RealBroker::resume() {
    ::kill(pid_, SIGCONT);
}

void RealBroker::forgetSessions() {
    std::filesystem::remove(folder() + "/mosquitto.db");
}

}  // namespace xel::matrix
