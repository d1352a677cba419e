#pragma once

#include <memory>
#include <string>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/TestProgram.h"

namespace xel::test {

/// A message bus of the test's own: anybody may own any name on it, and it starts only what the test says.
class PrivateBus {
public:
    /// Throws when the daemon does not come up.
    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus() = default;

    /// Empty, or why there can be no bus here: what a test skips with.
    [[nodiscard]] static std::string whyMissing();

    [[nodiscard]] std::string address() const { return "unix:path=" + folder_.path() + "/bus"; }

    /// From its next start on the bus starts the program when somebody calls the name.
    void addService(const std::string& name, const std::string& command) const;

    void stop();
    /// The daemon is gone without a word to anybody.
    void crash();
    void start();

private:
    contract::TemporaryFolder folder_;
    std::unique_ptr<TestProgram> daemon_;
};

}  // namespace xel::test
