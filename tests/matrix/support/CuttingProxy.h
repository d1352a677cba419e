#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace xel::matrix {

enum class Direction { ToBroker, ToClient };

/// How a connection ends at the octet.
enum class CutBy {
    Fin,      ///< in order, on both sides
    Reset,    ///< lost, on both sides
    Silence,  ///< nothing passes any more, either way, and nobody is told
};

/// Stands between a client and a broker of the loopback, on a thread of its own.
class CuttingProxy {
public:
    struct Cut {
        Direction direction;
        std::size_t afterOctets;
        CutBy by;
    };
    struct Passed {
        std::size_t toBroker = 0;
        std::size_t toClient = 0;
    };

    explicit CuttingProxy(std::uint16_t brokerPort);
    ~CuttingProxy();
    CuttingProxy(const CuttingProxy&) = delete;
    CuttingProxy& operator=(const CuttingProxy&) = delete;

    [[nodiscard]] std::uint16_t port() const;

    /// For the next connection, and that one only.
    void cutNext(std::optional<Cut> cut);
    /// From the next connection on: every octet is a write of its own.
    void setSingleOctets(bool isSingle);
    /// One octet of the next connection arrives as another one.
    void flipNext(Direction direction, std::size_t atOctet);
    /// The next connection gets these octets from the proxy itself, and nothing of the broker.
    void answerNext(std::string octets, CutBy andThen);
    /// Ends every connection that there is.
    void dropAll();

    [[nodiscard]] std::size_t cuts() const;
    [[nodiscard]] std::size_t connections() const;
    /// What has passed in the newest connection.
    [[nodiscard]] Passed passed() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace xel::matrix
