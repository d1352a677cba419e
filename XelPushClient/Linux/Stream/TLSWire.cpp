#include "XelPushClient/Linux/Stream/TLSWire.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include <openssl/bio.h>

namespace xel {

namespace {

/// What a waiting connection may keep for what comes next.
constexpr std::size_t kKeptSize = 1024;

}  // namespace

/// What OpenSSL calls. A wire that is empty has more to come, and never ends by itself.
struct TLSWire::Calls {
    static TLSWire& wireOf(BIO* bio) { return *static_cast<TLSWire*>(BIO_get_data(bio)); }

    static int read(BIO* bio, char* buffer, std::size_t size, std::size_t* count) {
        BIO_clear_retry_flags(bio);
        *count = wireOf(bio).take(buffer, size);
        if (*count == 0) {
            BIO_set_retry_read(bio);
        }
        return *count > 0 ? 1 : 0;
    }

    static int write(BIO* bio, const char* octets, std::size_t size, std::size_t* count) {
        BIO_clear_retry_flags(bio);
        *count = 0;
        std::string* const toSend = wireOf(bio).toSend_;
        if (toSend == nullptr) {
            return 0;
        }
        try {
            toSend->append(octets, size);
        } catch (const std::exception&) {
            return 0;  // for want of memory; no exception may pass through OpenSSL
        }
        *count = size;
        return 1;
    }

    static long control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

    static BIO_METHOD* make() {
        BIO_METHOD* const method = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "xel wire");
        if (method != nullptr) {
            BIO_meth_set_read_ex(method, &read);
            BIO_meth_set_write_ex(method, &write);
            BIO_meth_set_ctrl(method, &control);
        }
        return method;
    }
};

bio_st* TLSWire::makeBIO() {
    // Never freed: a thread may still be in a handshake when the process ends.
    static const BIO_METHOD* const method = Calls::make();
    BIO* const bio = method != nullptr ? BIO_new(method) : nullptr;
    if (bio != nullptr) {
        BIO_set_data(bio, this);
        BIO_set_init(bio, 1);
    }
    return bio;
}

void TLSWire::offer(std::string_view octets) {
    received_.erase(0, taken_);
    taken_ = 0;
    received_.append(octets);
}

std::size_t TLSWire::take(char* buffer, std::size_t size) {
    const std::size_t count = std::min(size, received_.size() - taken_);
    std::memcpy(buffer, received_.data() + taken_, count);
    taken_ += count;
    if (taken_ == received_.size()) {
        taken_ = 0;
        received_.clear();
        if (received_.capacity() > kKeptSize) {
            received_ = std::string();
        }
    }
    return count;
}

}  // namespace xel
