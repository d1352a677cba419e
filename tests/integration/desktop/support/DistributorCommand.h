#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/TestProgram.h"

namespace xel::test {

/// The command "xelpush distributor" on a bus, on a free port at first, with a state folder that outlives it.
class DistributorCommand {
public:
    static constexpr const char* kName = "org.unifiedpush.Distributor.XelPush";

    /// Starts it, and returns once it is ready. Throws when it does not come up.
    explicit DistributorCommand(std::string busAddress);

    void start();
    /// SIGTERM; what it has written is complete afterwards.
    void stop() { program_->stop(); }
    [[nodiscard]] bool isRunning() { return program_->isRunning(); }
    [[nodiscard]] std::string output() const { return program_->output(); }
    [[nodiscard]] bool logs(const std::string& text) const {
        return eventually([&] { return output().find(text) != std::string::npos; });
    }
    [[nodiscard]] std::string stateFolder() const { return folder_.path() + "/state"; }

private:
    std::string busAddress_;
    contract::TemporaryFolder folder_;
    std::unique_ptr<TestProgram> program_;
};

}  // namespace xel::test
