#pragma once

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace xel::bench {

/// A file descriptor that is closed with its owner. Throws std::system_error for a negative one.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor) : descriptor_(descriptor) {
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "descriptor");
        }
    }
    ~OwnedDescriptor() { close(descriptor_); }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int get() const { return descriptor_; }

private:
    int descriptor_;
};

}  // namespace xel::bench
