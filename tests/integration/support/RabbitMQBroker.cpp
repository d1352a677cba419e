#include "tests/integration/support/RabbitMQBroker.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "sandbox/process/Ports.h"
#include "sandbox/relay/Json.h"
#include "tests/integration/support/WatchedProgram.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::test {

using sandbox::Json;
using namespace std::chrono_literals;

namespace {

// Debian's command of this name in /usr/sbin changes to the service's user and folder; this one runs as we
// do.
constexpr const char* kNodeProgram = "/usr/lib/rabbitmq/bin/rabbitmq-server";
constexpr const char* kConfigFile = "rabbitmq.conf";
constexpr const char* kPluginsFile = "enabled_plugins";
constexpr const char* kDefinitionsFile = "definitions.json";
constexpr std::chrono::seconds kPatienceForStart{120};
// A node listens seconds after its ports were chosen. Meanwhile another program may have been given one.
constexpr int kMostAttempts = 3;

void writeFile(const std::filesystem::path& file, const std::string& content) {
    std::ofstream stream(file);
    stream << content;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write '" + file.string() + "'");
    }
}

Json definitions(const std::vector<RabbitMQUser>& users) {
    Json all{{"vhosts", Json::array({Json{{"name", "/"}}})},
             {"users", Json::array()},
             {"permissions", Json::array()},
             {"topic_permissions", Json::array()}};
    for (const RabbitMQUser& user : users) {
        all["users"].push_back(Json{{"name", user.name}, {"password", user.password}, {"tags", ""}});
        all["permissions"].push_back(
            Json{{"user", user.name}, {"vhost", "/"}, {"configure", ".*"}, {"write", ".*"}, {"read", ".*"}});
        all["topic_permissions"].push_back(Json{{"user", user.name},
                                                {"vhost", "/"},
                                                {"exchange", "amq.topic"},
                                                {"write", user.mayPublish},
                                                {"read", ".*"}});
    }
    return all;
}

[[noreturn]] void failToStart(const std::string& what, const WatchedProgram& program) {
    constexpr std::size_t kLastWords = 2000;
    const std::string output = program.output();
    throw std::runtime_error(what + " did not start; its last words:\n" +
                             output.substr(output.size() - std::min(output.size(), kLastWords)));
}

}  // namespace

/// One attempt: its processes, its files and its ports.
class RabbitMQBroker::Node {
public:
    explicit Node(const std::vector<RabbitMQUser>& users) {
        writeFiles(users);
        startPortMapper();
        startNode();
    }

    [[nodiscard]] std::uint16_t mqttPort() const { return ports_.mqtt; }

    [[nodiscard]] bool logs(std::string_view text) { return node_->waitForOutput(text, 10s); }

private:
    struct Ports {
        std::uint16_t mqtt = 0;
        std::uint16_t portMapper = 0;
        std::uint16_t distribution = 0;
    };

    static Ports choosePorts();
    void writeFiles(const std::vector<RabbitMQUser>& users) const;
    void startPortMapper();
    void startNode();
    [[nodiscard]] std::vector<std::string> withEnvironment(const std::vector<std::string>& command) const;

    sandbox::test::TemporaryFolder folder_;
    Ports ports_ = choosePorts();
    std::optional<WatchedProgram> portMapper_;
    std::optional<WatchedProgram> node_;
};

RabbitMQBroker::RabbitMQBroker(const std::vector<RabbitMQUser>& users) {
    if (!std::filesystem::exists(kNodeProgram)) {
        throw std::runtime_error(std::string("there is no '") + kNodeProgram +
                                 "'; scripts/install-packages installs rabbitmq-server");
    }
    const auto start = std::chrono::steady_clock::now();
    for (int attempt = 1; !node_; ++attempt) {
        try {
            node_ = std::make_unique<Node>(users);
        } catch (const std::runtime_error& error) {
            if (attempt == kMostAttempts) {
                throw;
            }
            std::cout << "attempt " << attempt << ": " << error.what() << '\n';
        }
    }
    startTime_ =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

RabbitMQBroker::~RabbitMQBroker() = default;

std::uint16_t RabbitMQBroker::mqttPort() const {
    return node_->mqttPort();
}

bool RabbitMQBroker::logs(std::string_view text) {
    return node_->logs(text);
}

// All are held until the last is chosen, so that no two are the same.
RabbitMQBroker::Node::Ports RabbitMQBroker::Node::choosePorts() {
    using boost::asio::ip::tcp;
    boost::asio::io_context context;
    std::vector<tcp::acceptor> held;
    const auto choose = [&] {
        sandbox::listenAt(held.emplace_back(context), {boost::asio::ip::address_v4::loopback(), 0},
                          "RabbitMQ");
        return held.back().local_endpoint().port();
    };
    Ports ports;
    ports.mqtt = choose();
    ports.portMapper = choose();
    ports.distribution = choose();
    return ports;
}

void RabbitMQBroker::Node::writeFiles(const std::vector<RabbitMQUser>& users) const {
    const auto& folder = folder_.path();
    writeFile(folder / kPluginsFile, "[rabbitmq_mqtt].\n");
    writeFile(folder / kDefinitionsFile, sandbox::printJson(definitions(users)));
    writeFile(folder / kConfigFile,
              "listeners.tcp = none\n"
              "mqtt.listeners.tcp.1 = 127.0.0.1:" +
                  std::to_string(ports_.mqtt) +
                  "\n"
                  "mqtt.allow_anonymous = false\n"
                  "load_definitions = " +
                  (folder / kDefinitionsFile).string() +
                  "\n"
                  "log.file = false\n"
                  "log.console = true\n"
                  "log.console.level = info\n");
}

void RabbitMQBroker::Node::startPortMapper() {
    // The options make it say when it listens.
    portMapper_.emplace(withEnvironment({"epmd", "-d", "-d"}));
    if (!portMapper_->waitForOutput("entering the main select() loop", kPatienceForStart)) {
        failToStart("Erlang's port mapper", *portMapper_);
    }
}

void RabbitMQBroker::Node::startNode() {
    node_.emplace(withEnvironment({kNodeProgram, "-noinput"}));
    if (!node_->waitForOutput("Server startup complete", kPatienceForStart)) {
        failToStart("RabbitMQ", *node_);
    }
}

std::vector<std::string> RabbitMQBroker::Node::withEnvironment(
    const std::vector<std::string>& command) const {
    const std::string folder = folder_.path().string();
    std::vector<std::string> arguments = {
        "/usr/bin/env",
        "-i",
        "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
        "LANG=C.UTF-8",
        "HOME=" + folder,  // where the cookie is made
        "ERL_CRASH_DUMP=" + folder + "/crash.dump",
        "ERL_EPMD_ADDRESS=127.0.0.1",
        "ERL_EPMD_PORT=" + std::to_string(ports_.portMapper),
        // For each Erlang that the script starts: no port mapper but ours, which would outlive the test.
        "ERL_AFLAGS=-start_epmd false -kernel inet_dist_use_interface {127,0,0,1}",
        // The script becomes the node instead of watching it, so that there is one process to end.
        "RABBITMQ_ALLOW_INPUT=1",
        "RABBITMQ_CONF_ENV_FILE=/dev/null",
        "RABBITMQ_NODENAME=test@localhost",
        "RABBITMQ_DIST_PORT=" + std::to_string(ports_.distribution),
        "RABBITMQ_CONFIG_FILE=" + folder + "/" + kConfigFile,
        "RABBITMQ_ADVANCED_CONFIG_FILE=" + folder + "/none",
        "RABBITMQ_ENABLED_PLUGINS_FILE=" + folder + "/" + kPluginsFile,
        "RABBITMQ_MNESIA_BASE=" + folder + "/data",
        "RABBITMQ_GENERATED_CONFIG_DIR=" + folder + "/config",
        "RABBITMQ_FEATURE_FLAGS_FILE=" + folder + "/feature_flags",
        "RABBITMQ_PID_FILE=" + folder + "/pid",
        "RABBITMQ_LOG_BASE=" + folder + "/log",
        "RABBITMQ_LOGS=-",
    };
    arguments.insert(arguments.end(), command.begin(), command.end());
    return arguments;
}

}  // namespace xel::test
