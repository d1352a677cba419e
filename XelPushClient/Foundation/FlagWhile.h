#pragma once

namespace xel {

/// Holds a flag up as long as it lives, also when an exception ends that.
class FlagWhile {
public:
    explicit FlagWhile(bool& flag) : flag_(flag) { flag_ = true; }
    FlagWhile(const FlagWhile&) = delete;
    FlagWhile& operator=(const FlagWhile&) = delete;
    ~FlagWhile() { flag_ = false; }

private:
    bool& flag_;
};

}  // namespace xel
