#pragma once

#include <cstdint>

namespace xel::bench {

/// When a host reached its stations, and what it holds of the machine when nothing happens any more.
class ProcessFigures {
public:
    /// The station `main`; the first statement of a program makes it.
    ProcessFigures();

    void didConnect();
    void didReceiveFirst();

    /// Prints one line of JSON: the stations in milliseconds since exec (by `exec_clock`, which notes it
    /// in the environment), resident memory, the part of it that the process itself has written, the
    /// shared libraries that are mapped, and the threads. Answers the exit code: 1 when a station was
    /// not reached. Throws std::runtime_error for a process that exec_clock did not start.
    int report() const;

private:
    std::int64_t main_;
    std::int64_t connected_ = 0;
    std::int64_t first_ = 0;
};

}  // namespace xel::bench
