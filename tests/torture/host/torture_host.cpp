// A host whose system calls fail: connects, takes messages, sends three texts to itself, and ends by itself.
//
//   torture_host <state folder> <notes> <CA file> <name of this life> <milliseconds>
//
// Ends with 0, or with 3 when an exception came out of the library. Application, ports and credentials come
// by environment, as for every host of the local push service.

#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <utility>

#include <unistd.h>

#include "XelPushClient/XelPushClient.h"
#include "tests/kill/RigClient.h"
#include "tests/torture/host/Notes.h"

namespace {

constexpr int kTexts = 3;
constexpr const char* kUser = "tortured01";
constexpr int kThrown = 3;

/// Sends texts to its own user, and notes which of them are promised to arrive.
void publishTexts(xel::PushClientManager& push, const std::string& life, xel::torture::Notes& notes) {
    for (int i = 1; i <= kTexts; ++i) {
        const std::string text = life + "-" + std::to_string(i);
        if (push.publish(kUser, "default", text)) {
            notes.note("promised ", text);
        }
    }
}

[[noreturn]] void run(const std::string& stateFolder, const std::string& caFile, const std::string& life,
                      std::chrono::milliseconds time, xel::torture::Notes& notes) {
    xel::rig::RigClient client(stateFolder, caFile);
    xel::PushClientManager& push = client.push();
    xel::NSRunLoop& runLoop = client.runLoop();
    push.setMessageUILocalNotificationHandler([](const xel::PushClientMessage&) {});
    push.setMessageHandler([&notes](const xel::PushClientMessage& message) {
        notes.note("received ", message.messageBody.value_or("no body"));
    });
    push.setServerConnectionStateHandler([&, isFirst = true]() mutable {
        if (push.connectionStateString() == "Connected") {
            notes.note("connected");
            if (std::exchange(isFirst, false)) {
                publishTexts(push, life, notes);
            }
        }
    });
    runLoop.scheduleTimer(time, [&runLoop] { runLoop.stop(); });
    client.registerApplication();
    client.connect(kUser);
    runLoop.run();
    // Without destructors: they wake threads up through sockets to this process itself, whose writes fail
    // nowhere but here.
    std::_Exit(EXIT_SUCCESS);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::cerr
            << "usage: torture_host <state folder> <notes> <CA file> <name of this life> <milliseconds>\n";
        return 2;
    }
    try {
        xel::torture::Notes notes(argv[2]);
        // Where the torture begins: what the loader does before has failed for every program alike.
        (void)::access("/torture-begins", F_OK);
        run(argv[1], argv[3], argv[4], std::chrono::milliseconds(std::atoi(argv[5])), notes);
    } catch (const std::exception& error) {
        std::cerr << "torture_host: " << error.what() << '\n';
        return kThrown;
    }
}
