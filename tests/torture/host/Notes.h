#pragma once

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace xel::torture {

/// Lines in a file that is there already, filled with zeros. They are written through memory: no system call
/// of a note can fail, and what is noted survives the process.
class Notes {
public:
    explicit Notes(const char* path) {
        const int file = ::open(path, O_RDWR | O_CLOEXEC);
        struct stat facts {};
        if (file < 0 || ::fstat(file, &facts) != 0) {
            throw std::runtime_error("the notes cannot be opened");
        }
        size_ = static_cast<std::size_t>(facts.st_size);
        void* const memory = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        ::close(file);
        if (memory == MAP_FAILED) {
            throw std::runtime_error("the notes cannot be mapped");
        }
        next_ = static_cast<char*>(memory);
        end_ = next_ + size_;
        next_ += ::strnlen(next_, size_);
    }

    void note(std::string_view what, std::string_view of = {}) {
        append(what);
        append(of);
        append("\n");
    }

private:
    void append(std::string_view text) {
        if (text.size() < static_cast<std::size_t>(end_ - next_)) {
            std::memcpy(next_, text.data(), text.size());
            next_ += text.size();
        }
    }

    std::size_t size_ = 0;
    char* next_ = nullptr;
    char* end_ = nullptr;
};

}  // namespace xel::torture
