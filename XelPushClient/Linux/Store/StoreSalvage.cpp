#include "XelPushClient/Linux/Store/StoreSalvage.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

#include <sqlite3.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Store/DamagedStore.h"
#include "XelPushClient/Linux/Store/NewStoreFile.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Linux/Store/StoreJournal.h"

namespace xel {
namespace {

/// A name that was read from a row whose sum is wrong may be anything.
bool canBeTold(std::string_view name) {
    constexpr std::size_t kLongest = 200;
    return name.size() <= kLongest && isValidUTF8(name) &&
           std::none_of(name.begin(), name.end(), [](char octet) {
               return static_cast<unsigned char>(octet) < ' ' || octet == '\x7f';
           });
}

/// Carries what is right from one database to the other, and keeps account.
class Salvaging {
public:
    Salvaging(const std::string& path, DamagedStore& damaged, std::uint64_t journalRun)
        : path_(path), damaged_(damaged), journalRun_(std::max(journalRun, damaged.run())) {}

    /// SQLite's code.
    [[nodiscard]] int carryTo(StoreWriter& writer) {
        salvage_.mayHaveLostOthers = !damaged_.areAllHomesKnown();
        int code = writer.setJournal(damaged_.run(), damaged_.store());
        std::vector<std::string_view> lost;
        for (const auto& [id, name] : damaged_.homes()) {
            const auto home = damaged_.read(id);
            if (home.isLost || !names_.insert(name).second) {
                lost.push_back(name);
                continue;
            }
            code = code == SQLITE_OK ? home.contents.bringInto(writer, name, home.run) : code;
            account(name, home);
        }
        for (const std::string_view name : lost) {
            code = code == SQLITE_OK ? giveUp(writer, name) : code;
        }
        return code;
    }

    [[nodiscard]] StoreSalvage takeSalvage() { return std::move(salvage_); }

private:
    void account(std::string_view name, const DamagedStore::Home& home) {
        ++salvage_.homes;
        if (home.hasLostClients) {
            tell(name, "has lost what it had to send and its granted topics, or some of it");
        } else if (home.hasLostPublications) {
            tell(name, "has lost what it had to send, or some of it");
        } else {
            ++salvage_.whole;
        }
    }

    // It has a row, by which the journal's changes, which are a part only, are known to have been there.
    [[nodiscard]] int giveUp(StoreWriter& writer, std::string_view name) {
        if (!canBeTold(name)) {
            salvage_.mayHaveLostOthers = true;
            return SQLITE_OK;
        }
        if (!names_.insert(std::string(name)).second) {
            return SQLITE_OK;
        }
        ++salvage_.homes;
        tell(name, "is lost");
        return writer.bringIn(name, {}, journalRun_);
    }

    void tell(std::string_view name, std::string_view what) {
        if (salvage_.losses.size() < StoreSalvage::kMostTold) {
            salvage_.losses.push_back(formatted("the home \"%@\" of the store %@ %@", name, path_, what));
        } else {
            ++salvage_.untold;
        }
    }

    const std::string& path_;
    DamagedStore& damaged_;
    const std::uint64_t journalRun_;
    std::set<std::string, std::less<>> names_;
    StoreSalvage salvage_;
};

/// The last run of the store's that the journal beside it holds; 0 for none.
Result<std::uint64_t> lastRunBeside(const std::string& base, const DamagedStore& damaged) {
    const auto found = StoreJournal(base).findBehind(damaged.store(), damaged.run());
    if (!found) {
        return found.error();
    }
    std::uint64_t last = 0;
    for (const auto& [image, path] : found.value()) {
        const bool isOurs = damaged.store() == 0 || image.store() == damaged.store();
        last = isOurs ? std::max(last, image.run()) : last;
    }
    return last;
}

}  // namespace

Result<StoreSalvage> salvageStore(const std::string& base) {
    const std::string path = base + ".db";
    DamagedStore damaged(path);
    const auto journalRun = lastRunBeside(base, damaged);
    if (!journalRun) {
        return journalRun.error();
    }
    NewStoreFile file(path);
    if (auto made = file.make(); !made) {
        return made.error();
    }
    Salvaging salvaging(path, damaged, journalRun.value());
    auto carried =
        file.database().inTransaction([&](StoreWriter& writer) { return salvaging.carryTo(writer); });
    // The other way round the error would be that of the attempt to write what was not read.
    if (damaged.failure()) {
        return *damaged.failure();
    }
    if (carried) {
        carried = file.finish();
    }
    if (!carried) {
        return carried.error();
    }
    auto salvage = salvaging.takeSalvage();
    auto aside = setAside(path);
    if (!aside) {
        return aside.error();
    }
    salvage.aside = std::move(aside).value();
    if (auto put = file.putInPlace(); !put) {
        return put.error();
    }
    return salvage;
}

}  // namespace xel
