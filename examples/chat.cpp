// A chat over a public channel: every line typed goes to everybody in the room, and every line of the others
// is shown. The client lives on the host's own io_context, beside the host's own reading of the keyboard.
//
//   chat USER ROOM

#include <cstdio>
#include <istream>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>
#include <unistd.h>

#include "XelPushClient/Linux/Log/LogLine.h"
#include "examples/Example.h"

namespace {

/// Publishes each line that is typed.
class Keyboard {
public:
    Keyboard(boost::asio::io_context& context, xel::PushClientManager& push, std::string room)
        : input_(context, ::dup(STDIN_FILENO)), push_(push), room_(std::move(room)) {
        read();
    }

private:
    void read() {
        boost::asio::async_read_until(
            input_, typed_, '\n', [this](const boost::system::error_code& error, std::size_t) {
                if (error) {
                    return;  // the end of the input: the host goes on showing what arrives
                }
                std::string line;
                std::istream stream(&typed_);
                std::getline(stream, line);
                // YES promises delivery, also when there is no connection now.
                if (!line.empty() && !push_.publish(room_, line)) {
                    std::fprintf(stderr, "not sent: %s\n", line.c_str());
                }
                read();
            });
    }

    boost::asio::posix::stream_descriptor input_;
    boost::asio::streambuf typed_;
    xel::PushClientManager& push_;
    std::string room_;
};

void chat(const std::string& user, const std::string& room) {
    boost::asio::io_context context;
    xel::LinuxOptions options;
    options.hostContext = &context;
    const xel::Machine machine = xel::makeLinuxMachine(options);
    xel::PushClientManager push(machine, example::openHome(options, machine, "chat-" + user));

    push.setMessageHandler([&](const xel::PushClientMessage& message) {
        if (message.senderId != user) {
            // What others typed must not command this terminal.
            std::printf("%s: %s\n", xel::printableLogText(message.senderId.value_or("?")).c_str(),
                        xel::printableLogText(message.messageBody.value_or("")).c_str());
            std::fflush(stdout);
        }
    });
    example::tellStates(push);
    example::registerWithService(push, user, {room});
    const Keyboard keyboard(context, push, room);
    example::runUntilSignal(context, machine);
}

}  // namespace

int main(int count, char** arguments) {
    return example::run(count == 3, "chat USER ROOM", [&] { chat(arguments[1], arguments[2]); });
}
