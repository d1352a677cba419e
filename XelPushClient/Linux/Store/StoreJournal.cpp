#include "XelPushClient/Linux/Store/StoreJournal.h"

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace xel {

StoreJournal::StoreJournal(const std::string& base) : paths_{base + ".journal", base + ".journal-2"} {}

Result<std::vector<StoreJournal::Found>> StoreJournal::findBehind(std::uint64_t store,
                                                                  std::uint64_t lastRun) const {
    std::vector<Found> found;
    for (const std::string& path : paths_) {
        auto image = JournalImage::read(path);
        if (!image) {
            return image.error();
        }
        const bool isOfAnother = image.value().run() != 0 && image.value().store() != store;
        if (image.value().run() > lastRun || image.value().isUnknown() || isOfAnother) {
            found.push_back({std::move(image).value(), path});
        }
    }
    std::sort(found.begin(), found.end(),
              [](const Found& one, const Found& other) { return one.image.run() < other.image.run(); });
    return found;
}

Result<void> StoreJournal::begin(std::uint64_t store, std::uint64_t run) {
    for (std::size_t i = 0; i < files_.size(); ++i) {
        auto file = JournalFile::open(paths_[i]);
        if (!file) {
            return file.error();
        }
        files_[i] = std::move(file).value();
    }
    store_ = store;
    return beginIn(0, run);
}

Result<void> StoreJournal::beginNext() {
    return beginIn(1 - current_, run_ + 1);
}

Result<void> StoreJournal::beginIn(std::size_t file, std::uint64_t run) {
    auto begun = files_[file].begin(store_, run);
    if (begun) {
        hasFailedSync_[file] = false;
        current_ = file;
        run_ = run;
    }
    return begun;
}

bool StoreJournal::sync(std::size_t file) {
    if (!hasFailedSync_[file] && !files_[file].sync()) {
        hasFailedSync_[file] = true;
    }
    return !hasFailedSync_[file];
}

void StoreJournal::remove() {
    for (const std::string& path : paths_) {
        (void)::unlink(path.c_str());
    }
}

}  // namespace xel
