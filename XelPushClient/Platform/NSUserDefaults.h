#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// A home's small key-value store: settings that survive a restart.
///
/// Contract:
/// - Reads see the latest write of this process at once, whether it was synchronised or not.
/// - `synchronize` writes every change that is not yet stored, in one commit. True: a process that is
///   killed right after it finds the changes at its next start. False: the changes stay in memory, reads
///   see them, and the next `synchronize` tries again.
/// - A `Value` is stored whole: every kind, also dates and octets, comes back equal.
/// - One process at a time owns a store; opening one that is owned is an error at opening, not here.
///
/// Thread: reads from any thread; writes and `synchronize` on the home's run loop.
class NSUserDefaults {
public:
    virtual ~NSUserDefaults() = default;

    [[nodiscard]] virtual std::optional<Value> objectForKey(std::string_view key) const = 0;
    virtual void setObject(std::string_view key, Value value) = 0;
    virtual void removeObject(std::string_view key) = 0;
    /// Appends the texts to the array under the key, and then drops from its front what is more than
    /// `mostKept`; whatever else is there counts as an empty array. The same as reading and setting it, and
    /// cheaper where a store need not write the rest.
    virtual void appendToArray(std::string_view key, std::span<const std::string_view> texts,
                               std::size_t mostKept);
    [[nodiscard]] virtual bool synchronize() = 0;

    /// Like `synchronize`, for the end of a turn. Such a commit also survives a power cut if the host
    /// asked for that: it takes a file sync, and so happens off the run loop. `done` is called exactly
    /// once with the result, inside this call or later on the home's run loop.
    virtual void synchronizeTurn(std::function<void(bool)> done) = 0;

    /// The value if it is a number or a boolean, else false, 0 or 0.0; a text only if it is one.
    [[nodiscard]] virtual bool boolForKey(std::string_view key) const;
    [[nodiscard]] std::int64_t integerForKey(std::string_view key) const;
    [[nodiscard]] double doubleForKey(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key) const;
    [[nodiscard]] std::optional<Dictionary> dictionaryForKey(std::string_view key) const;
    [[nodiscard]] std::optional<Array> arrayForKey(std::string_view key) const;
};

/// What `appendToArray` does to the array.
void appendTexts(Array& array, std::span<const std::string_view> texts, std::size_t mostKept);

}  // namespace xel
