#include "tools/runs/ResetRun.h"

#include <utility>

#include "tools/output/Output.h"

namespace xel::tools {

ResetRun::ResetRun(ResetOptions options, ServiceAccess access)
    : ClientRun(options.client, std::move(access)), options_(std::move(options)) {}

void ResetRun::start() {
    if (!push().userId()) {
        printProgress("this client has registered no user: there is nothing to forget");
        end();
        return;
    }
    if (push().userId() != choice().user) {
        throw CommandFailure(ExitCode::Usage,
                             "this state folder is that of the user '" + *push().userId() + "'");
    }
    installation_ = push().deviceId().value_or("");
    if (options_.offline || installation_.empty()) {
        resetNow();
    } else {
        connectAgain();
    }
}

// While connected a reset unsubscribes, so that the broker keeps nothing for a client that never returns.
void ResetRun::connected() {
    if (options_.unregisters) {
        unregisterNow();
    } else {
        resetNow();
    }
}

void ResetRun::resetNow() {
    push().reset();
    done(false);
}

void ResetRun::unregisterNow() {
    push().unregisterUser([this](const Value&) { done(true); },
                          [this](const NSError& error) { endWithRestFailure(error); });
}

void ResetRun::done(bool isUnregistered) {
    printLine(
        choice().json,
        {{"user", choice().user}, {"installation", installation_}, {"unregistered", isUnregistered}},
        choice().user + " is forgotten here" +
            (isUnregistered ? ", and installation " + installation_ + " is removed from the service" : ""));
    end();
}

}  // namespace xel::tools
