#pragma once

#include <string>

namespace xel::bench {

/// The list against duplicates that a pipeline keeps: which ids came last, and where that is written.
class IdLog {
public:
    virtual ~IdLog() = default;

    /// True when the id was not there; it is there afterwards.
    virtual bool addNew(const std::string& id) = 0;
    /// What was added is in the kernel's hands when this returns, so that a killed process has lost
    /// none.
    virtual void commit() = 0;
};

}  // namespace xel::bench
