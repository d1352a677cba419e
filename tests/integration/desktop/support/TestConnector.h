#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "tests/integration/desktop/support/BusFields.h"
#include "tests/integration/desktop/support/BusLoop.h"

namespace xel::test {

/// An application that gets push messages (org.unifiedpush.Connector2), on a connection and a thread of its
/// own. Thread: any.
class TestConnector {
public:
    /// Owns the name from here on.
    TestConnector(const std::string& busAddress, std::string name);
    TestConnector(const TestConnector&) = delete;
    TestConnector& operator=(const TestConnector&) = delete;
    ~TestConnector();

    struct Answer {
        std::string success;
        std::string reason;
    };
    /// Registers with the distributor under test.
    Answer registerWith(const std::string& distributor, const std::string& token);
    void unregisterFrom(const std::string& distributor, const std::string& token);

    /// What the distributor has called, in order: "endpoint <token> <URL>", "message <token> <octets>",
    /// "unregistered <token>".
    [[nodiscard]] std::vector<std::string> calls() const;

private:
    void note(const std::string& call);
    BusFields ask(const std::string& distributor, const std::string& method, const BusFields& fields);

    const std::string name_;
    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    BusLoop loop_;
    /// For the calls that are waited for.
    std::unique_ptr<sdbus::IConnection> asking_;
};

}  // namespace xel::test
