#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/system/error_code.hpp>

namespace xel::sandbox {

// What the service's HTTP servers have in common.

/// So much of a request's header is read at most.
inline constexpr std::uint32_t kLargestHeader = 8 * 1024;

/// Throws away what a client still sends, until it ends or `most` octets have come, and then calls `done`.
/// For a connection on which a request was refused before it had been read: a close while the client is
/// sending would be a reset, and lose the answer.
///
/// `done` holds the owner of the stream and of the buffer. Nothing here ends a client that is silent: that is
/// the stream's deadline.
template <class Stream, class Done>
void drain(Stream& stream, boost::beast::flat_buffer& buffer, std::size_t most, Done done) {
    constexpr std::size_t kPiece = 64 * 1024;
    buffer.clear();
    const auto piece = buffer.prepare(kPiece);
    stream.async_read_some(piece, [&stream, &buffer, most, done = std::move(done)](
                                      boost::system::error_code error, std::size_t count) mutable {
        if (error || count >= most) {
            done();
        } else {
            drain(stream, buffer, most - count, std::move(done));
        }
    });
}

}  // namespace xel::sandbox
