#include "sandbox/store/CrashReportStore.h"

#include <algorithm>

#include "sandbox/relay/RandomText.h"
#include "sandbox/relay/WallClock.h"
#include "sandbox/store/AnswerSize.h"
#include "sandbox/store/Database.h"

namespace xel::sandbox {
namespace {

using Statement = Database::Statement;

constexpr const char* kCrashReportSchema =
    "CREATE TABLE IF NOT EXISTS crashes ("
    " number INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT NOT NULL, received INTEGER NOT NULL,"
    " report TEXT NOT NULL)";

}  // namespace

CrashReportStore::CrashReportStore(Database& database) : database_(database) {
    database_.run(kCrashReportSchema);
}

std::string CrashReportStore::add(const Json& report) {
    std::string id = makeUuid();
    Statement(database_, "INSERT INTO crashes (id, received, report) VALUES (?, ?, ?)")
        .bind(id)
        .bind(millisecondsSince1970())
        .bind(printJson(report))
        .run();
    Statement(database_, "DELETE FROM crashes WHERE number <= (SELECT max(number) FROM crashes) - ?")
        .bind(kKept)
        .run();
    return id;
}

Json CrashReportStore::list(std::int64_t limit) const {
    Statement select(database_, "SELECT id, received, report FROM crashes ORDER BY number DESC LIMIT ?");
    select.bind(limit);
    Json reports = Json::array();
    AnswerSize size;
    while (select.step()) {
        const std::string report = select.text(2);
        if (!size.takes(report.size())) {
            break;
        }
        reports.push_back(Json{{"id", select.text(0)},
                               {"received", select.number(1)},
                               {"report", parseJsonObject(report).value_or(Json())}});
    }
    std::reverse(reports.begin(), reports.end());
    return reports;
}

}  // namespace xel::sandbox
