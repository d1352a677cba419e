#include "XelPushClient/Linux/Homes/StoreOpening.h"

#include <cstdint>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Store/NewStoreFile.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Linux/Store/StoreSalvage.h"

namespace xel {
namespace {

bool isDamage(const NSError& error) {
    return error.code == static_cast<std::int64_t>(StoreErrorCode::Damaged);
}

Result<std::unique_ptr<CarriedJournal>> openFiles(const std::string& base,
                                                  const CarriedJournal::Report& report) {
    if (auto file = makePrivateFile(base + ".db"); !file) {
        return file.error();
    }
    auto journal = std::make_unique<CarriedJournal>(base, report);
    if (auto opened = journal->open(); !opened) {
        return opened.error();
    }
    return journal;
}

std::string describeKept(const StoreSalvage& salvage) {
    if (salvage.homes == 0) {
        return "without a home: none of it can be read";
    }
    return formatted("with %d of its %d homes whole%@", salvage.whole, salvage.homes,
                     salvage.mayHaveLostOthers ? " and without those whose names cannot be read" : "");
}

/// A line for what happened, and one for each home that is not whole.
std::vector<std::string> linesOf(const NSError& damage, const StoreSalvage& salvage) {
    std::vector<std::string> lines{formatted("%@; it was set aside as %@ and a new one made %@",
                                             damage.localizedDescription(), salvage.aside,
                                             describeKept(salvage))};
    lines.insert(lines.end(), salvage.losses.begin(), salvage.losses.end());
    if (salvage.untold != 0) {
        lines.push_back(formatted("and %d more homes of it", salvage.untold));
    }
    return lines;
}

/// Reports each line, and adds it to the whole.
void tell(const std::vector<std::string>& lines, const CarriedJournal::Report& report,
          std::optional<NSError>& damageReport) {
    std::string all = damageReport ? damageReport->localizedDescription() : std::string();
    for (const std::string& line : lines) {
        report(makeStoreError(StoreErrorCode::Damaged, line));
        all += (all.empty() ? "" : "\n") + line;
    }
    damageReport = makeStoreError(StoreErrorCode::Damaged, all);
}

}  // namespace

Result<std::unique_ptr<CarriedJournal>> openStore(const std::string& base,
                                                  const CarriedJournal::Report& report,
                                                  std::optional<NSError>& damageReport) {
    const std::string path = base + ".db";
    const auto recovered = NewStoreFile::recover(path);
    if (!recovered) {
        return recovered.error();
    }
    if (recovered.value()) {
        tell(
            {formatted("the store %@ was damaged, and is what was made of it when its process ended, without "
                       "having told which homes are lost",
                       path)},
            report, damageReport);
    }
    auto opened = openFiles(base, report);
    if (opened || !isDamage(opened.error())) {
        return opened;
    }
    const auto salvage = salvageStore(base);
    if (!salvage) {
        return salvage.error();
    }
    tell(linesOf(opened.error(), salvage.value()), report, damageReport);
    return openFiles(base, report);
}

}  // namespace xel
