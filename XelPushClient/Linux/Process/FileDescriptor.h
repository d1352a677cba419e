#pragma once

namespace xel {

/// An open file; closed with the object, and in children of the process. -1 for none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number);
    FileDescriptor(FileDescriptor&& other) noexcept : number_(other.number_) { other.number_ = -1; }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    [[nodiscard]] int number() const { return number_; }
    [[nodiscard]] bool isOpen() const { return number_ >= 0; }

private:
    int number_ = -1;
};

}  // namespace xel
