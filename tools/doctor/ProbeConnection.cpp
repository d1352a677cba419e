#include "tools/doctor/ProbeConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "XelPushClient/Linux/Stream/StreamErrors.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"

namespace xel::tools {

namespace {

using namespace std::chrono_literals;

constexpr auto kLongestStep = 5s;
/// What the broker has retained comes with a subscription.
constexpr std::size_t kLargestPacket = 1024UL * 1024;

std::string describe(int number) {
    return std::generic_category().message(number);
}

std::string numericText(const addrinfo& entry) {
    std::array<char, NI_MAXHOST> text{};
    const int outcome = ::getnameinfo(entry.ai_addr, entry.ai_addrlen, text.data(),
                                      static_cast<socklen_t>(text.size()), nullptr, 0, NI_NUMERICHOST);
    return outcome == 0 ? text.data() : "?";
}

LinuxTLSOptions optionsFor(const std::string& caFile) {
    LinuxTLSOptions options;
    if (!caFile.empty()) {
        options.caFile = caFile;
    }
    return options;
}

}  // namespace

std::vector<HostAddress> lookUp(const std::string& host, std::uint16_t port, std::string& reason) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int outcome = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found);
    std::vector<HostAddress> addresses;
    if (outcome != 0) {
        reason = outcome == EAI_SYSTEM ? describe(errno) : ::gai_strerror(outcome);
        return addresses;
    }
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        HostAddress address;
        std::memcpy(&address.address, entry->ai_addr, entry->ai_addrlen);
        address.length = entry->ai_addrlen;
        address.text = numericText(*entry);
        addresses.push_back(std::move(address));
    }
    ::freeaddrinfo(found);
    return addresses;
}

std::string ProbeSocket::connect(const HostAddress& address, std::chrono::milliseconds patience) {
    constexpr int kKind = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;
    descriptor_ = FileDescriptor(::socket(address.address.ss_family, kKind, 0));
    if (!descriptor_.isOpen()) {
        return describe(errno);
    }
    const int socket = descriptor_.number();
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address.address), address.length) != 0) {
        if (errno != EINPROGRESS) {
            return describe(errno);
        }
        pollfd wait{socket, POLLOUT, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(patience.count()));
        if (ready <= 0) {
            return ready == 0 ? "no answer in time" : describe(errno);
        }
        int failure = 0;
        socklen_t length = sizeof failure;
        ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &failure, &length);
        if (failure != 0) {
            return describe(failure);
        }
    }
    // From here on it blocks, for no longer than the patience at a time.
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) & ~O_NONBLOCK);
    const timeval limit{static_cast<time_t>(patience.count() / 1000),
                        static_cast<suseconds_t>(patience.count() % 1000 * 1000)};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    return {};
}

/// While it lives, a connection that broke is an error of the write alone. OpenSSL writes by write(2), which
/// also raises SIGPIPE, and that ends the process.
class WithoutBrokenPipe {
public:
    WithoutBrokenPipe() {
        sigemptyset(&brokenPipe_);
        sigaddset(&brokenPipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
    }
    WithoutBrokenPipe(const WithoutBrokenPipe&) = delete;
    WithoutBrokenPipe& operator=(const WithoutBrokenPipe&) = delete;
    ~WithoutBrokenPipe() {
        const timespec now{};
        sigtimedwait(&brokenPipe_, nullptr, &now);  // or it would come with the former mask
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

private:
    sigset_t brokenPipe_{};
    sigset_t before_{};
};

void ProbeTLS::Free::operator()(ssl_st* connection) const {
    SSL_free(connection);
}

ProbeTLS::ProbeTLS(const std::string& caFile) : context_(optionsFor(caFile)) {}

ProbeTLS::~ProbeTLS() = default;

std::string ProbeTLS::shakeHands(int socket, const std::string& host) {
    const WithoutBrokenPipe withoutBrokenPipe;
    const auto context = context_.native();
    if (!context) {
        return context.error().localizedDescription();
    }
    ERR_clear_error();
    connection_.reset(SSL_new(context.value()));
    if (!connection_ || !expectHost(connection_.get(), host) || SSL_set_fd(connection_.get(), socket) != 1) {
        return "TLS cannot be set up: " + describeOpenSSLErrors();
    }
    // A read that met nothing but a session's ticket comes back, instead of waiting for what may never come.
    SSL_clear_mode(connection_.get(), SSL_MODE_AUTO_RETRY);
    if (SSL_connect(connection_.get()) == 1) {
        return {};
    }
    const long verified = SSL_get_verify_result(connection_.get());
    return verified == X509_V_OK ? describeFailedHandshake() : describeRefusedCertificate(verified);
}

int ProbeTLS::daysLeft() const {
    int days = 0;
    int seconds = 0;
    const X509* certificate = SSL_get0_peer_certificate(connection_.get());
    if (certificate == nullptr ||
        ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate)) != 1) {
        return 0;
    }
    return days;
}

std::string ProbeTLS::version() const {
    return SSL_get_version(connection_.get());
}

bool ProbeTLS::write(std::string_view octets) {
    const WithoutBrokenPipe withoutBrokenPipe;
    return SSL_write(connection_.get(), octets.data(), static_cast<int>(octets.size())) ==
           static_cast<int>(octets.size());
}

bool ProbeTLS::hasOctets() const {
    return SSL_pending(connection_.get()) > 0;
}

std::optional<std::string> ProbeTLS::read() {
    const WithoutBrokenPipe withoutBrokenPipe;  // a read may answer, such as to a new key
    std::array<char, 4096> octets{};
    ERR_clear_error();
    const int length = SSL_read(connection_.get(), octets.data(), static_cast<int>(octets.size()));
    if (length > 0) {
        return std::string(octets.data(), static_cast<std::size_t>(length));
    }
    const bool mayGoOn = SSL_get_error(connection_.get(), length) == SSL_ERROR_WANT_READ;
    return mayGoOn ? std::optional(std::string()) : std::nullopt;
}

ProbeConnection::ProbeConnection(const std::string& caFile, bool usingTLS)
    : usingTLS_(usingTLS), tls_(caFile), decoder_(kLargestPacket) {}

std::string ProbeConnection::connect(const HostAddress& address) {
    return socket_.connect(address, kLongestStep);
}

std::string ProbeConnection::shakeHands(const std::string& host) {
    return usingTLS_ ? tls_.shakeHands(socket_.descriptor(), host) : std::string();
}

bool ProbeConnection::write(std::string_view octets) {
    if (usingTLS_) {
        return tls_.write(octets);
    }
    return ::send(socket_.descriptor(), octets.data(), octets.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(octets.size());
}

bool ProbeConnection::hasOctets(std::chrono::steady_clock::time_point deadline) const {
    // The socket does not tell of what OpenSSL has read from it already (SSL_pending(3)).
    if (usingTLS_ && tls_.hasOctets()) {
        return true;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd wait{socket_.descriptor(), POLLIN, 0};
    return ::poll(&wait, 1, static_cast<int>(std::max(left, 0ms).count())) > 0;
}

std::optional<std::string> ProbeConnection::readOctets() {
    if (usingTLS_) {
        return tls_.read();
    }
    std::array<char, 4096> octets{};
    const ssize_t length = ::recv(socket_.descriptor(), octets.data(), octets.size(), 0);
    if (length < 0 && (errno == EAGAIN || errno == EINTR)) {
        return std::string();
    }
    return length > 0 ? std::optional(std::string(octets.data(), static_cast<std::size_t>(length)))
                      : std::nullopt;
}

ProbePacket ProbeConnection::read(std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (true) {
        std::string_view input = received_;
        MQTTInboundPacket packet;
        switch (decoder_.decode(input, packet)) {
            case MQTTDecoding::Complete: {
                ProbePacket found{ProbeReading::Packet,
                                  packet.type,
                                  packet.returnCode,
                                  {packet.returnCodes.begin(), packet.returnCodes.end()}};
                received_.erase(0, received_.size() - input.size());
                return found;
            }
            case MQTTDecoding::Malformed: return {ProbeReading::Nonsense};
            case MQTTDecoding::Incomplete: break;
        }
        if (!hasOctets(deadline)) {
            return {ProbeReading::Nothing};
        }
        const auto more = readOctets();
        if (!more) {
            return {ProbeReading::End};
        }
        received_ += *more;
    }
}

std::optional<std::uint8_t> ProbeConnection::introduce(const MQTTSessionParameters& parameters) {
    std::string packet;
    appendConnect(packet, parameters);
    if (!write(packet)) {
        return std::nullopt;
    }
    const ProbePacket answer = read(kLongestStep);
    const bool isConnack = answer.reading == ProbeReading::Packet && answer.type == MQTTPacketType::Connack;
    return isConnack ? std::optional(answer.returnCode) : std::nullopt;
}

}  // namespace xel::tools
