#include "tools/runs/RequestRun.h"

#include <utility>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

/// Of what the client finds wrong with a tag before it asks the backend.
constexpr std::string_view kArgumentDomain = "Argument";

}  // namespace

RequestRun::RequestRun(ClientChoice choice, ServiceAccess access, Act act)
    : ClientRun(std::move(choice), std::move(access)), act_(std::move(act)) {}

void RequestRun::start() {
    if (isEmptyOrBlank(std::string_view(choice().user))) {
        throw CommandFailure(ExitCode::Usage, "the user id is blank");
    }
    if (!push().userId()) {
        push().setUserId(choice().user);
    } else if (push().userId() != choice().user) {
        throw CommandFailure(ExitCode::Usage,
                             "this state folder is that of the user '" + *push().userId() + "'");
    }
    const auto print = [this](const Dictionary& record, const std::string& text) {
        printLine(choice().json, record, text);
    };
    act_(push(), {[this, print](const Dictionary& record, const std::string& text) {
                      print(record, text);
                      end();
                  },
                  [this](const NSError& error) {
                      if (error.domain == kArgumentDomain) {
                          end(ExitCode::Usage, error.localizedDescription());
                      } else {
                          endWithRestFailure(error);
                      }
                  },
                  [this, print](const Dictionary& record, const std::string& text) {
                      print(record, text);
                      end(ExitCode::Failure, "the service's answer is no");
                  }});
}

}  // namespace xel::tools
