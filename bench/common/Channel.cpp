#include "bench/common/Channel.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

namespace xel::bench {

namespace {

/// What one read asks of the socket; several records of TLS come with it.
constexpr std::size_t kReadAhead = 64 * 1024;

Channel::Step stepOf(ssize_t result, const char* what) {
    if (result > 0) {
        return {Channel::Outcome::Done, static_cast<std::size_t>(result)};
    }
    if (result == 0 || errno == EPIPE || errno == ECONNRESET) {
        return {Channel::Outcome::Closed};
    }
    if (errno == EAGAIN || errno == EINTR) {
        return {Channel::Outcome::WouldBlock};
    }
    throw std::system_error(errno, std::generic_category(), what);
}

class PlainChannel final : public Channel {
public:
    explicit PlainChannel(int descriptor) : descriptor_(descriptor) {}

    Step read(char* buffer, std::size_t size) override {
        return stepOf(recv(descriptor_, buffer, size, 0), "recv");
    }
    Step write(std::string_view octets) override {
        return stepOf(send(descriptor_, octets.data(), octets.size(), MSG_NOSIGNAL), "send");
    }

private:
    int descriptor_;
};

void require(bool worked, const std::string& what) {
    if (!worked) {
        throw std::runtime_error(what + ": " + ERR_reason_error_string(ERR_peek_last_error()));
    }
}

struct Free {
    void operator()(SSL* connection) const { SSL_free(connection); }
};
using Context = std::shared_ptr<SSL_CTX>;

class TLSChannel final : public Channel {
public:
    TLSChannel(Context context, int descriptor, bool accepts)
        : context_(std::move(context)), connection_(SSL_new(context_.get())) {
        require(connection_ != nullptr && SSL_set_fd(connection_.get(), descriptor) == 1, "TLS");
        accepts ? SSL_set_accept_state(connection_.get()) : SSL_set_connect_state(connection_.get());
    }

    Step read(char* buffer, std::size_t size) override {
        std::size_t total = 0;
        do {
            const int got = SSL_read(connection_.get(), buffer + total, static_cast<int>(size - total));
            if (got <= 0) {
                return total > 0 ? Step{Outcome::Done, total} : stepOfFailure(got, "SSL_read");
            }
            total += static_cast<std::size_t>(got);
            // The other records that the last read of the socket brought.
        } while (total < size && SSL_has_pending(connection_.get()) == 1);
        return {Outcome::Done, total};
    }

    Step write(std::string_view octets) override {
        const int sent = SSL_write(connection_.get(), octets.data(), static_cast<int>(octets.size()));
        return sent > 0 ? Step{Outcome::Done, static_cast<std::size_t>(sent)}
                        : stepOfFailure(sent, "SSL_write");
    }

private:
    Step stepOfFailure(int result, const char* what) {
        const int reason = SSL_get_error(connection_.get(), result);
        if (reason == SSL_ERROR_WANT_READ || reason == SSL_ERROR_WANT_WRITE) {
            return {Outcome::WouldBlock};
        }
        if (reason == SSL_ERROR_ZERO_RETURN || reason == SSL_ERROR_SYSCALL) {
            return {Outcome::Closed};
        }
        const char* text = ERR_reason_error_string(ERR_peek_last_error());
        throw std::runtime_error(std::string(what) + ": " + (text != nullptr ? text : "failed"));
    }

    Context context_;
    std::unique_ptr<SSL, Free> connection_;
};

Context makeContext(const SSL_METHOD* method) {
    std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes without MSG_NOSIGNAL
    Context context(SSL_CTX_new(method), SSL_CTX_free);
    require(context != nullptr && SSL_CTX_set_min_proto_version(context.get(), TLS1_3_VERSION) == 1, "TLS");
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_read_ahead(context.get(), 1);
    SSL_CTX_set_default_read_buffer_len(context.get(), kReadAhead);
    return context;
}

}  // namespace

std::unique_ptr<Channel> makePlainChannel(int descriptor) {
    return std::make_unique<PlainChannel>(descriptor);
}

std::unique_ptr<Channel> makeTLSClientChannel(int descriptor, const std::string& certificateFile) {
    Context context = makeContext(TLS_client_method());
    require(SSL_CTX_load_verify_locations(context.get(), certificateFile.c_str(), nullptr) == 1,
            certificateFile);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    return std::make_unique<TLSChannel>(std::move(context), descriptor, false);
}

std::unique_ptr<Channel> makeTLSServerChannel(int descriptor, const std::string& certificateFile,
                                              const std::string& keyFile) {
    return TLSAcceptor(certificateFile, keyFile).makeChannel(descriptor);
}

TLSAcceptor::TLSAcceptor(const std::string& certificateFile, const std::string& keyFile)
    : context_(makeContext(TLS_server_method())) {
    require(SSL_CTX_use_certificate_file(context_.get(), certificateFile.c_str(), SSL_FILETYPE_PEM) == 1,
            certificateFile);
    require(SSL_CTX_use_PrivateKey_file(context_.get(), keyFile.c_str(), SSL_FILETYPE_PEM) == 1, keyFile);
}

std::unique_ptr<Channel> TLSAcceptor::makeChannel(int descriptor) const {
    return std::make_unique<TLSChannel>(context_, descriptor, true);
}

void awaitReadable(int descriptor) {
    pollfd waiting{descriptor, POLLIN, 0};
    poll(&waiting, 1, -1);
}

void writeAll(Channel& channel, int descriptor, std::string& octets) {
    std::size_t sent = 0;
    while (sent < octets.size()) {
        const Channel::Step step = channel.write(std::string_view(octets).substr(sent));
        if (step.outcome == Channel::Outcome::Closed) {
            throw std::runtime_error("the other side has closed the connection");
        }
        if (step.outcome == Channel::Outcome::WouldBlock) {
            // By TLS a handshake may want to read first.
            pollfd waiting{descriptor, POLLIN | POLLOUT, 0};
            poll(&waiting, 1, 10);
        }
        sent += step.octets;
    }
    octets.clear();
}

}  // namespace xel::bench
