// The floor of receiving: the bare socket with the least that keeps the service's promise, the ids
// committed once a turn, before the acknowledgements. `--log plain` appends a record to a file, `--log
// sqlite` commits the table that the peers have.

#include <memory>
#include <stdexcept>

#include "bench/floor/BareClient.h"
#include "bench/floor/FloorPipeline.h"
#include "bench/floor/PlainIds.h"
#include "bench/peers/SqliteIds.h"

namespace xel::bench {

namespace {

std::unique_ptr<IdLog> openLog(const std::string& kind, const std::string& folder) {
    if (kind == "plain") {
        return std::make_unique<PlainIds>(folder + "/ids.log");
    }
    if (kind == "sqlite") {
        return std::make_unique<SqliteIds>(folder + "/ids.sqlite", SqliteIds::Commit::EachTurn);
    }
    throw std::invalid_argument("--log is plain or sqlite, not '" + kind + "'");
}

int run(const BenchOptions& options) {
    const SubjectOptions subject(options);
    SubjectTally tally(subject);
    const std::unique_ptr<IdLog> ids = openLog(options.text("log", "plain"), subject.stateFolder);
    FloorPipeline pipeline(*ids, tally);
    receiveBare(subject, tally,
                {[&](std::string_view, std::string_view payload) { pipeline.handle(payload); },
                 [&] { ids->commit(); }});
    return tally.finish(subject, true);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
