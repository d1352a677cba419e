#include "tools/options/ListenOptions.h"

#include "tools/options/DurationOption.h"

namespace xel::tools {

namespace {

constexpr std::size_t kLargestCount = 1'000'000'000;

}  // namespace

void addListenOptions(CLI::App& command, ListenOptions& options) {
    addClientOptions(command, options.client);
    command.add_option("--count", options.count, "End after so many messages, events and delivery reports")
        ->check(CLI::Range(std::size_t{1}, kLargestCount))
        ->type_name("NUMBER");
    addDurationOption(command, "--timeout", options.client.timeout,
                      "End after so long; exit code 3 when --count is not reached");
}

}  // namespace xel::tools
