#include "tools/doctor/ProbeTLS.h"

#include <array>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "XelPushClient/Linux/Stream/StreamErrors.h"

namespace xel::tools {

namespace {

LinuxTLSOptions optionsFor(const std::string& caFile) {
    LinuxTLSOptions options;
    if (!caFile.empty()) {
        options.caFile = caFile;
    }
    return options;
}

}  // namespace

void ProbeTLS::Free::operator()(ssl_st* connection) const {
    SSL_free(connection);
}

ProbeTLS::ProbeTLS(const std::string& caFile) : context_(optionsFor(caFile)) {}

ProbeTLS::~ProbeTLS() = default;

std::string ProbeTLS::shakeHands(int socket, const std::string& host) {
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
    return SSL_write(connection_.get(), octets.data(), static_cast<int>(octets.size())) ==
           static_cast<int>(octets.size());
}

bool ProbeTLS::hasOctets() const {
    return SSL_pending(connection_.get()) > 0;
}

std::optional<std::string> ProbeTLS::read() {
    std::array<char, 4096> octets{};
    ERR_clear_error();
    const int length = SSL_read(connection_.get(), octets.data(), static_cast<int>(octets.size()));
    if (length > 0) {
        return std::string(octets.data(), static_cast<std::size_t>(length));
    }
    const bool mayGoOn = SSL_get_error(connection_.get(), length) == SSL_ERROR_WANT_READ;
    return mayGoOn ? std::optional(std::string()) : std::nullopt;
}

}  // namespace xel::tools
