// A host whose main loop is GLib's: it waits for the client's descriptor as for any other, and steps the
// client when there is something to do. The environment is that of ten_line_host.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include <glib-unix.h>
#include <glib.h>

#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/XelPushClient.h"

namespace {

std::optional<std::string> setting(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

gboolean stepClient(int /*descriptor*/, GIOCondition /*condition*/, gpointer loop) {
    static_cast<xel::AsioRunLoop*>(loop)->step();
    return G_SOURCE_CONTINUE;
}

gboolean quit(gpointer mainLoop) {
    g_main_loop_quit(static_cast<GMainLoop*>(mainLoop));
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main() {
    xel::PushClientManager::setDevelopment(true);
    xel::LinuxOptions options;
    options.runLoop = std::make_shared<xel::AsioRunLoop>();
    const auto machine = xel::makeLinuxMachine(options);
    auto home = xel::openLinuxHome(options, machine);
    if (!home) {
        std::fprintf(stderr, "%s\n", home.error().localizedDescription().c_str());
        return 1;
    }
    xel::PushClientManager push(machine, std::move(home).value());

    GMainLoop* mainLoop = g_main_loop_new(nullptr, FALSE);
    g_unix_fd_add(options.runLoop->fileDescriptor(), G_IO_IN, stepClient, options.runLoop.get());
    g_unix_signal_add(SIGINT, quit, mainLoop);
    g_unix_signal_add(SIGTERM, quit, mainLoop);

    push.setMessageHandler([](const xel::PushClientMessage& message) {
        std::puts(message.messageBody.value_or("").c_str());
        std::fflush(stdout);
    });
    push.setServerConnectionStateHandler(
        [&] { std::fprintf(stderr, "%s\n", std::string(push.connectionStateString()).c_str()); });
    push.registerApplication(setting("XELPUSH_APP_ID"), setting("XELPUSH_API_KEY"),
                             setting("XELPUSH_BROKER_USER"), setting("XELPUSH_BROKER_PASSWORD"));
    push.registerUser("alice01", {"news", "private/orders"});

    g_main_loop_run(mainLoop);
    g_main_loop_unref(mainLoop);
}
