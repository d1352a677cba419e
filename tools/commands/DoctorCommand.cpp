#include <memory>
#include <string>
#include <vector>

#include "XelPushClient/Linux/System/LinuxFolders.h"
#include "XelPushClient/XelPushClient.h"
#include "tools/commands/Commands.h"
#include "tools/doctor/BrokerProbe.h"
#include "tools/doctor/Finding.h"
#include "tools/doctor/RestProbe.h"
#include "tools/doctor/StoreProbe.h"
#include "tools/options/ClientChoice.h"

namespace xel::tools {

namespace {

constexpr const char* kDoctorHelp =
    "One line for each of: name look-up, TCP, TLS, CONNACK, SUBSCRIBE, REST, clock, state folder,\n"
    "store; what is wrong, and what to do. The exit code is that of the first failure.";

void examine(const ClientChoice& choice) {
    const ServiceAccess access = findService(choice.service);
    PushClientManager::setDevelopment(!access.production);
    const std::string folder = choice.stateFolder.empty()
                                   ? defaultStateFolder(homeNameOf(choice.kind, choice.user)).value_or("")
                                   : choice.stateFolder;
    ExitCode code = ExitCode::Success;
    int failures = 0;
    const auto print = [&](const Findings& findings) {
        for (const Finding& finding : findings) {
            printFinding(choice.json, finding);
            if (finding.state == FindingState::Failed) {
                code = failures++ == 0 ? finding.code : code;
            }
        }
    };
    // Looked at first, though told last: the broker is asked for the topics that are kept there.
    const Findings store = probeStore(folder);
    const bool isReadable = store.back().state == FindingState::Ok;
    print(probeBroker({access, choice.user, choice.usingPlainMQTT,
                       isReadable ? keptTopics(folder) : std::vector<std::string>()}));
    print(probeRest(access));
    print(store);
    if (failures > 0) {
        throw CommandFailure(
            code, failures == 1 ? "one check failed" : std::to_string(failures) + " checks failed");
    }
}

}  // namespace

void addDoctorCommand(CLI::App& program) {
    const auto choice = std::make_shared<ClientChoice>();
    CLI::App* command =
        program.add_subcommand("doctor", "Find out why a client does not get through, and what to do");
    command->footer(std::string(kDoctorHelp) + "\n\n" + kExitCodesHelp);
    choice->user = "doctor";
    command->add_option("--user", choice->user, "The user to connect as, and whose client's store to look at")
        ->capture_default_str()
        ->type_name("ID");
    addKindOption(*command, *choice);
    command->add_option("--state-folder", choice->stateFolder, "The state folder to look at")
        ->type_name("FOLDER");
    command->add_flag("--plain", choice->usingPlainMQTT, "Look at the way without TLS");
    command->add_flag("--json", choice->json, "Print one JSON object a line");
    addServiceOptions(*command, choice->service);
    addBrokerOptions(*command, choice->service);
    command->callback([choice] { examine(*choice); });
}

}  // namespace xel::tools
