#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace xel::killtest {

/// Written at the beginning of every life of the host.
inline constexpr std::string_view kStartLine = "# start";

/// The file in which the host notes every message it is handed, or every event it was promised, one line
/// each. A line is one write(2): what is noted survives SIGKILL, and a line is there whole or not at all.
class ReceivedLog {
public:
    explicit ReceivedLog(const std::string& path)
        : file_(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600)) {
        if (file_ < 0) {
            throw std::runtime_error("cannot open " + path);
        }
    }
    ReceivedLog(const ReceivedLog&) = delete;
    ReceivedLog& operator=(const ReceivedLog&) = delete;
    ~ReceivedLog() { ::close(file_); }

    void note(std::string_view text) {
        const std::string line = std::string(text) + "\n";
        if (::write(file_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            throw std::runtime_error("cannot write a note down");
        }
    }

private:
    int file_;
};

}  // namespace xel::killtest
