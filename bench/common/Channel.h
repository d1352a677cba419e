#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct ssl_ctx_st;

namespace xel::bench {

/// Octets to and from the other side, plainly or by TLS 1.3 (OpenSSL). The stand-in and the floors use
/// it. The descriptor decides whether a call waits; by TLS it must not wait, since half a record is no
/// octets yet. Every operation throws std::runtime_error for what goes wrong.
class Channel {
public:
    enum class Outcome { Done, WouldBlock, Closed };
    struct Step {
        Outcome outcome = Outcome::Closed;
        std::size_t octets = 0;
    };

    virtual ~Channel() = default;

    /// Fills as much of the buffer as is there.
    virtual Step read(char* buffer, std::size_t size) = 0;
    /// Writes the first part, or all.
    virtual Step write(std::string_view octets) = 0;
};

/// None of these takes the descriptor over; it must live as long.
std::unique_ptr<Channel> makePlainChannel(int descriptor);
/// The side that connects; trusts that certificate (a PEM file) and no other.
std::unique_ptr<Channel> makeTLSClientChannel(int descriptor, const std::string& certificateFile);
/// The side that accepts; the handshake happens with the first read or write.
std::unique_ptr<Channel> makeTLSServerChannel(int descriptor, const std::string& certificateFile,
                                              const std::string& keyFile);

/// The accepting side of many connections, which share a context. They may outlive this.
class TLSAcceptor {
public:
    TLSAcceptor(const std::string& certificateFile, const std::string& keyFile);

    std::unique_ptr<Channel> makeChannel(int descriptor) const;

private:
    std::shared_ptr<ssl_ctx_st> context_;
};

/// Writes all of it and clears it, waiting where the descriptor does not.
void writeAll(Channel& channel, int descriptor, std::string& octets);
/// Waits until there is something to read.
void awaitReadable(int descriptor);

}  // namespace xel::bench
