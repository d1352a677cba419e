#include "XelPushClient/Linux/Process/FileDescriptor.h"

#include <utility>

#include <unistd.h>

#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
}

FileDescriptor::FileDescriptor(int number) : number_(number) {
    if (number_ >= 0) {
        closeInChildren(number_);
    }
}

FileDescriptor::~FileDescriptor() {
    if (number_ >= 0) {
        closeInThisProcess(number_, [this] { close(number_); });
    }
}

}  // namespace xel
