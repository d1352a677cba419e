#include "bench/floor/PlainIds.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "bench/common/Checksum.h"

namespace xel::bench {

namespace {

constexpr std::size_t kHeaderBytes = 2 * sizeof(std::uint64_t);

}  // namespace

PlainIds::PlainIds(const std::string& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)),
      record_(kHeaderBytes, '\0') {}

bool PlainIds::addNew(const std::string& id) {
    if (std::find(last_.begin(), last_.end(), id) != last_.end()) {
        return false;
    }
    last_[next_] = id;
    next_ = (next_ + 1) % kIdsRemembered;
    record_.append(id).push_back('\n');
    return true;
}

void PlainIds::commit() {
    if (record_.size() == kHeaderBytes) {
        return;
    }
    Checksum checksum;
    checksum.add(std::string_view(record_).substr(kHeaderBytes));
    const std::array<std::uint64_t, 2> header{record_.size(), checksum.value()};
    record_.replace(0, kHeaderBytes, reinterpret_cast<const char*>(header.data()), kHeaderBytes);
    if (write(file_.get(), record_.data(), record_.size()) != static_cast<ssize_t>(record_.size())) {
        throw std::system_error(errno, std::generic_category(), "the log of ids");
    }
    record_.resize(kHeaderBytes);
}

}  // namespace xel::bench
