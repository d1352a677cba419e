// The socket alone: no parsing, no store. What a client costs that only reads and acknowledges.

#include "bench/floor/BareClient.h"

namespace xel::bench {

namespace {

int run(const BenchOptions& options) {
    const SubjectOptions subject(options);
    SubjectTally tally(subject);
    receiveBare(
        subject, tally,
        {[&](std::string_view, std::string_view payload) { tally.addUnread(payload.size()); }, [] {}});
    return tally.finish(subject, false);
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
