#pragma once

#include <optional>
#include <string>

namespace xel {

/// Facts about the device. From any thread; they do not change while the process lives.
class UIDevice {
public:
    virtual ~UIDevice() = default;

    /// The operating system's version, such as "12.4".
    [[nodiscard]] virtual std::string systemVersion() const = 0;

    /// The machine field of uname(2), such as "x86_64".
    [[nodiscard]] virtual std::string machineIdentifier() const = 0;
};

/// The host application's own version keys. Missing ones are missing texts.
class NSBundle {
public:
    virtual ~NSBundle() = default;
    [[nodiscard]] virtual std::optional<std::string> shortVersionString() const = 0;
    [[nodiscard]] virtual std::optional<std::string> bundleVersion() const = 0;
};

}  // namespace xel
