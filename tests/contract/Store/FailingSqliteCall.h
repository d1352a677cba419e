#pragma once

#include <cerrno>
#include <initializer_list>
#include <vector>

#include <sqlite3.h>

namespace xel::contract {

/// While it lives, the so-manieth of one of SQLite's calls to the system fails with that error, and every
/// other one goes through. One at a time for each call.
template <auto Call, int Error>
class FailingSqliteCall;

template <class Answer, class... Arguments, Answer (*Call)(Arguments...), int Error>
class FailingSqliteCall<Call, Error> {
public:
    /// The names are those that SQLite has for the call.
    FailingSqliteCall(std::initializer_list<const char*> names, int number) : names_(names) {
        callsLeft = number - 1;
        put(reinterpret_cast<sqlite3_syscall_ptr>(&callOrFail));
    }
    FailingSqliteCall(const FailingSqliteCall&) = delete;
    FailingSqliteCall& operator=(const FailingSqliteCall&) = delete;
    ~FailingSqliteCall() {
        callsLeft = -1;
        put(nullptr);
    }

    [[nodiscard]] bool hasFailed() const { return callsLeft < 0; }

private:
    static Answer callOrFail(Arguments... arguments) {
        if (callsLeft == 0) {
            callsLeft = -1;
            errno = Error;
            return -1;
        }
        callsLeft -= callsLeft > 0 ? 1 : 0;
        return Call(arguments...);
    }

    void put(sqlite3_syscall_ptr call) const {
        sqlite3_vfs* const system = sqlite3_vfs_find("unix");
        for (const char* const name : names_) {
            system->xSetSystemCall(system, name, call);
        }
    }

    /// Until the failing one; below zero, none fails.
    inline static int callsLeft = -1;
    std::vector<const char*> names_;
};

}  // namespace xel::contract
