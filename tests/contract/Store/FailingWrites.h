#pragma once

#include <csignal>

#include <sys/resource.h>

namespace xel::contract {

/// While set, no file of this process can grow or be written to beyond its first octet: as on a full disk.
class FailingWrites {
public:
    FailingWrites() { getrlimit(RLIMIT_FSIZE, &usual_); }
    FailingWrites(const FailingWrites&) = delete;
    FailingWrites& operator=(const FailingWrites&) = delete;
    ~FailingWrites() { set(false); }

    void set(bool isFailing) {
        // Beyond the limit the system raises this signal, and answers with an error when it is ignored.
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = usual_;
        if (isFailing) {
            limit.rlim_cur = 0;
        }
        setrlimit(RLIMIT_FSIZE, &limit);
    }

private:
    rlimit usual_{};
};

}  // namespace xel::contract
