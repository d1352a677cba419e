#include "XelPushClient/Testing/RecordingDiagnostics.h"
#include "tests/contract/Log/DiagnosticsContract.h"

namespace xel::contract {
namespace {

class RecordingDiagnosticsSubject {
public:
    Diagnostics& diagnostics() { return diagnostics_; }
    std::vector<std::string> takeTypes() {
        std::vector<std::string> types;
        for (const auto& record : diagnostics_.records()) {
            types.emplace_back(diagnosticType(record));
        }
        diagnostics_.clear();
        return types;
    }
    void stopReading() {}  // it keeps them itself

private:
    RecordingDiagnostics diagnostics_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, DiagnosticsContract, RecordingDiagnosticsSubject);

}  // namespace xel::contract
