#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct bio_st;

namespace xel {

/// What lies between a TLS connection and the network: octets that came and were not taken yet, and a place
/// for those that are to leave. OpenSSL's own memory (BIO_s_mem(3)) keeps what it once needed; this keeps
/// next to nothing once it is empty. Thread: the connection's.
class TLSWire {
public:
    TLSWire() = default;
    TLSWire(const TLSWire&) = delete;
    TLSWire& operator=(const TLSWire&) = delete;

    /// The wire for OpenSSL, which owns what it gets; this must outlive it. Null when there is no memory.
    [[nodiscard]] bio_st* makeBIO();

    /// Adds what came from the network.
    void offer(std::string_view octets);

    /// Has what is to leave appended there, for as long as this lives. Without one nothing can be sent.
    class Sending {
    public:
        Sending(TLSWire& wire, std::string& toSend) : wire_(wire) { wire_.toSend_ = &toSend; }
        Sending(const Sending&) = delete;
        Sending& operator=(const Sending&) = delete;
        ~Sending() { wire_.toSend_ = nullptr; }

    private:
        TLSWire& wire_;
    };

private:
    struct Calls;

    [[nodiscard]] std::size_t take(char* buffer, std::size_t size);

    std::string received_;
    std::size_t taken_ = 0;  // of it
    std::string* toSend_ = nullptr;
};

}  // namespace xel
