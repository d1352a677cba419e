// The host of the soak: one user after the other, in one process.
//
//   soak_host <messages a user> <state folder> <notes> <CA file>
//
// Application, ports and credentials come by environment, as for every host of the local push service.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "XelPushClient/XelPushClient.h"
#include "tests/kill/ReceivedLog.h"
#include "tests/kill/RigClient.h"
#include "tests/soak/UserAfterUser.h"

namespace {

void run(std::size_t messagesAUser, const std::string& stateFolder, const std::string& notes,
         const std::string& caFile) {
    xel::killtest::ReceivedLog log(notes);
    xel::rig::RigClient client(stateFolder, caFile);
    client.push().setMessageUILocalNotificationHandler([](const xel::PushClientMessage&) {});
    const auto users =
        std::make_shared<xel::soak::UserAfterUser>(client.push(), client.runLoop(), log, messagesAUser);
    client.push().addDelegate(users);
    client.registerApplication();
    users->letTheNextOneIn();
    client.runLoop().run();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5 || std::atoi(argv[1]) <= 0) {
        std::cerr << "usage: soak_host <messages a user> <state folder> <notes> <CA file>\n";
        return 2;
    }
    try {
        run(static_cast<std::size_t>(std::atoi(argv[1])), argv[2], argv[3], argv[4]);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << "soak_host: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
