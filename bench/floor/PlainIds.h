#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "bench/common/OwnedDescriptor.h"
#include "bench/peers/IdLog.h"

namespace xel::bench {

/// The ids in RAM, and a plain log of them: one record appended a turn, with its length and a checksum,
/// by one system call. What a store must do at least so that a killed process has forgotten nothing. The
/// log only grows, and nothing reads it.
class PlainIds final : public IdLog {
public:
    /// Throws std::system_error.
    explicit PlainIds(const std::string& path);

    bool addNew(const std::string& id) override;
    void commit() override;

private:
    static constexpr std::size_t kIdsRemembered = 25;

    OwnedDescriptor file_;
    std::array<std::string, kIdsRemembered> last_{};
    std::size_t next_ = 0;
    std::string record_;
};

}  // namespace xel::bench
