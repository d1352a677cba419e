#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/Stream/TLSContext.h"

struct ssl_st;

namespace xel::tools {

/// A TLS connection over a blocking socket, by the rules of the client's own: TLS 1.2 at least, certificate
/// and host name verified.
class ProbeTLS {
public:
    explicit ProbeTLS(const std::string& caFile);
    ~ProbeTLS();
    ProbeTLS(const ProbeTLS&) = delete;
    ProbeTLS& operator=(const ProbeTLS&) = delete;

    /// Empty after success; otherwise why there is none.
    [[nodiscard]] std::string shakeHands(int socket, const std::string& host);

    /// Until the server's certificate expires.
    [[nodiscard]] int daysLeft() const;
    [[nodiscard]] std::string version() const;

    [[nodiscard]] bool write(std::string_view octets);
    /// Whether octets wait that were received already.
    [[nodiscard]] bool hasOctets() const;
    /// The next octets; empty when none have come in time; nothing at the end.
    [[nodiscard]] std::optional<std::string> read();

private:
    struct Free {
        void operator()(ssl_st* connection) const;
    };

    TLSContext context_;
    std::unique_ptr<ssl_st, Free> connection_;
};

}  // namespace xel::tools
