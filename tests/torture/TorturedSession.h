#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/torture/TorturedHost.h"

namespace xel::torture {

/// What it took until the client was connected again after healing.
enum class Recovery {
    ByItself,       ///< time alone
    ByIntroducing,  ///< the host registered again
    ByRestarting,   ///< a new client on the same home: only where an exception came out of the library
};

/// A short session of a host from its first registration to another identity, in which something fails; then
/// everything is healed, and it is looked whether anything that was promised is lost.
class TorturedSession {
public:
    /// Runs it whole. What it found wrong is in `faults`.
    void run();

    [[nodiscard]] TorturedHost& host() { return host_; }
    [[nodiscard]] const std::vector<std::string>& faults() const { return faults_; }
    [[nodiscard]] Recovery recovery() const { return recovery_; }

private:
    void useEverything();
    void becomeAnother();
    void goOnInANewLife();

    /// The broker is given a message for the client.
    void send(const std::string& id);
    /// The host publishes a text, and remembers whether it was told that it will arrive.
    void publish(const std::string& text);
    /// Lets time pass in a world in which what has failed is healed.
    void rest(FakeRunLoop::Duration duration);
    /// Heals what has failed; false when nothing has.
    bool heal();
    void connectAgain();
    void compare(std::string_view when);
    void fault(std::string_view when, const std::string& what);

    TorturedHost host_;
    std::vector<std::string> faults_;
    Recovery recovery_ = Recovery::ByItself;
    std::set<std::string> sent_;          // to a session of the client's that had asked for it
    std::set<std::string> promised_;      // texts of which the host was told that they will arrive
    std::map<std::string, bool> wanted_;  // topics, and whether the broker must have them, or must not
};

}  // namespace xel::torture
