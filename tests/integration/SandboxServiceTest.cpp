// The local push service's life: start, restart, what stands in its way, and its end.

#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sandbox/SandboxProgram.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/state/CertificateAuthority.h"
#include "sandbox/state/StateFolder.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::sandbox::test {
namespace {

namespace fs = std::filesystem;

bool isRunning(int pid) {
    return ::kill(pid, 0) == 0 || errno != ESRCH;
}

// The text with which the start fails; empty when it does not.
std::string startAndFail(SandboxOptions options) {
    SandboxService service(std::move(options));
    try {
        service.start();
    } catch (const SandboxError& error) {
        return error.what();
    }
    return {};
}

// A port that is taken for as long as the object lives.
class TakenPort {
public:
    [[nodiscard]] std::uint16_t number() const { return acceptor_.local_endpoint().port(); }

private:
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
};

TEST(SandboxService, TellsWhereItIsReachedWhileItRuns) {
    const TemporaryFolder folder;
    const LogKeeper log;
    SandboxOptions options = makeOptions(folder, log);
    bool ready = false;
    options.onReady = [&ready](const SandboxInfo& info) { ready = info.restPort != 0; };
    SandboxService service(std::move(options));
    service.start();
    EXPECT_TRUE(ready);
    const SandboxInfo read = readSandboxInfo(folder.path());
    EXPECT_EQ(read.mqttPort, service.info().mqttPort);
    EXPECT_EQ(read.mqttTlsPort, service.info().mqttTlsPort);
    EXPECT_EQ(read.restUrl, "https://localhost:" + std::to_string(service.info().restPort) + "/api");
    EXPECT_EQ(read.pid, ::getpid());
    service.stop();
    EXPECT_THROW(readSandboxInfo(folder.path()), SandboxError);
}

TEST(SandboxService, KeepsEveryFileToItself) {
    const RunningSandbox sandbox;
    MqttTestClient client(sandbox.info(), "alice01", "D1");
    ASSERT_EQ(client.connect(), 0);
    sandbox.service->stop();
    for (const auto& entry : fs::directory_iterator(sandbox.folder.path())) {
        struct stat status {};
        ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0077U, 0U) << entry.path();
    }
    EXPECT_TRUE(fs::exists(sandbox.folder.path() / "mosquitto.db"));
}

TEST(SandboxService, NamesTheFileOfItsCredentialsAndShowsNoSecret) {
    const TemporaryFolder folder;
    LogKeeper first;
    SandboxService service(makeOptions(folder, first));
    service.start();
    const SandboxInfo info = service.info();
    const fs::path file = folder.path() / "credentials.json";
    EXPECT_TRUE(first.contains("new credentials in " + file.string()));
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_NE(readWholeFile(file).value().find(info.apiKey), std::string::npos);
    service.stop();

    LogKeeper second;
    SandboxOptions options = makeOptions(folder, second);
    options.verbose = true;
    SandboxService again(std::move(options));
    again.start();
    EXPECT_EQ(askRest(again.info(), "POST", "installations", Json::object()).status, 200U);
    MqttTestClient client(again.info(), "alice01", "D1");
    EXPECT_EQ(client.connect(), 0);
    std::ifstream arguments("/proc/" + std::to_string(again.brokerPid()) + "/cmdline");
    const std::string commandLine{std::istreambuf_iterator<char>(arguments), {}};
    again.stop();
    ASSERT_FALSE(second.lines().empty());
    ASSERT_NE(commandLine.find("mosquitto"), std::string::npos);
    for (const std::string& secret : {info.apiKey, info.brokerPassword}) {
        EXPECT_FALSE(first.contains(secret));
        EXPECT_FALSE(second.contains(secret));
        EXPECT_EQ(commandLine.find(secret), std::string::npos);
    }
}

TEST(SandboxService, KeepsAuthorityCredentialsAndInstallationsOverARestart) {
    const TemporaryFolder folder;
    const LogKeeper log;
    SandboxInfo before;
    std::string authority;
    std::string id;
    {
        SandboxService service(makeOptions(folder, log));
        service.start();
        before = service.info();
        authority = readWholeFile(before.caFile).value();
        id = askRest(before, "POST", "installations", Json{{"userId", "alice01"}}).body["id"];
    }
    SandboxService service(makeOptions(folder, log));
    service.start();
    EXPECT_EQ(readWholeFile(service.info().caFile), authority);
    EXPECT_EQ(service.info().apiKey, before.apiKey);
    EXPECT_EQ(service.info().brokerUser, before.brokerUser);
    EXPECT_EQ(service.info().brokerPassword, before.brokerPassword);
    EXPECT_EQ(askRest(service.info(), "GET", "installations/" + id).body["userId"], "alice01");
}

TEST(SandboxService, NamesThePortThatIsTaken) {
    const TakenPort taken;
    const std::string number = std::to_string(taken.number());
    for (const auto port :
         {&SandboxOptions::mqttPort, &SandboxOptions::mqttTlsPort, &SandboxOptions::restPort}) {
        const TemporaryFolder folder;
        SandboxOptions options = makeOptions(folder, LogKeeper());
        options.*port = taken.number();
        const std::string text = startAndFail(std::move(options));
        EXPECT_NE(text.find("port " + number), std::string::npos) << text;
        EXPECT_NE(text.find("taken by another program"), std::string::npos) << text;
        EXPECT_FALSE(fs::exists(folder.path() / kSandboxInfoFile));
    }
}

TEST(SandboxService, NamesThePackageWhenTheBrokerIsMissing) {
    const TemporaryFolder folder;
    SandboxOptions options = makeOptions(folder, LogKeeper());
    options.mosquittoProgram = folder.path() / "mosquitto";
    const std::string text = startAndFail(std::move(options));
    EXPECT_NE(text.find("apt-get install mosquitto"), std::string::npos) << text;
}

TEST(SandboxService, SaysWhatABrokerSaidThatDoesNotStart) {
    const TemporaryFolder folder;
    SandboxOptions options = makeOptions(folder, LogKeeper());
    options.brokerPlugin = folder.path() / "plugin.so";
    EXPECT_NE(startAndFail(options).find("there is no broker plugin"), std::string::npos);

    std::ofstream(options.brokerPlugin) << "no plugin";
    options.mqttPort = TakenPort().number();  // free again, but given: one attempt
    options.mqttTlsPort = TakenPort().number();
    const std::string text = startAndFail(options);
    EXPECT_NE(text.find("mosquitto ended with status"), std::string::npos) << text;
    EXPECT_NE(text.find("plugin"), std::string::npos) << text;
}

TEST(SandboxService, RefusesASecondServiceOnTheSameFolder) {
    const RunningSandbox sandbox;
    const std::string text = startAndFail(makeOptions(sandbox.folder, LogKeeper()));
    EXPECT_NE(text.find("another local push service is running"), std::string::npos) << text;
    EXPECT_NO_THROW(readSandboxInfo(sandbox.folder.path()));
}

TEST(SandboxService, RefusesAnAddressBeyondLoopback) {
    const TemporaryFolder folder;
    SandboxOptions options = makeOptions(folder, LogKeeper());
    options.address = "0.0.0.0";
    EXPECT_NE(startAndFail(options).find("not a loopback address"), std::string::npos);
}

TEST(SandboxService, LeavesNoChildBehind) {
    const RunningSandbox sandbox;
    const int pid = sandbox.service->brokerPid();
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(isRunning(pid));
    sandbox.service->stop();
    EXPECT_FALSE(isRunning(pid));
    EXPECT_NO_THROW(sandbox.service->waitUntilStopped());
    sandbox.service->stop();
}

TEST(SandboxService, EndsWithAnErrorWhenItsBrokerDies) {
    std::string reported;
    SandboxOptions options;
    options.onFailure = [&reported](const std::string& reason) { reported = reason; };
    const RunningSandbox sandbox(options);
    ASSERT_EQ(::kill(sandbox.service->brokerPid(), SIGKILL), 0);
    try {
        sandbox.service->waitUntilStopped();
        FAIL() << "the end of the broker was not reported";
    } catch (const SandboxError& error) {
        EXPECT_NE(std::string(error.what()).find("mosquitto ended by signal 9"), std::string::npos)
            << error.what();
    }
    sandbox.service->stop();
    EXPECT_NE(reported.find("signal 9"), std::string::npos);
}

TEST(SandboxService, KeepsSessionsOverABrokerRestartWhenAsked) {
    const RunningSandbox sandbox;
    const std::string topic = "app/" + sandbox.info().appId + "/user/alice01/news";
    const int pid = sandbox.service->brokerPid();
    {
        MqttTestClient client(sandbox.info(), "alice01", "D1");
        ASSERT_EQ(client.connect(), 0);
        ASSERT_EQ(client.subscribe(topic), 1);
    }
    const Json message{{"user", "alice01"}, {"channel", "news"}, {"body", "queued"}};
    ASSERT_EQ(askRest(sandbox.info(), "POST", "sandbox/messages", message).status, 200U);

    sandbox.service->stopBroker();
    EXPECT_FALSE(isRunning(pid));
    EXPECT_EQ(askRest(sandbox.info(), "POST", "sandbox/messages", message).status, 503U);
    sandbox.service->startBroker(BrokerSessions::Keep);
    EXPECT_NE(sandbox.service->brokerPid(), pid);

    MqttTestClient client(sandbox.info(), "alice01", "D1");
    ASSERT_EQ(client.connect(), 0);
    EXPECT_TRUE(client.sessionPresent());
    const auto received = client.receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->json()["messageBody"], "queued");
}

TEST(SandboxService, DropsSessionsOverABrokerRestartWhenAsked) {
    const RunningSandbox sandbox;
    const std::string topic = "app/" + sandbox.info().appId + "/user/alice01/news";
    {
        MqttTestClient client(sandbox.info(), "alice01", "D1");
        ASSERT_EQ(client.connect(), 0);
        ASSERT_EQ(client.subscribe(topic), 1);
    }
    sandbox.service->restartBroker(BrokerSessions::Drop);
    MqttTestClient client(sandbox.info(), "alice01", "D1");
    ASSERT_EQ(client.connect(), 0);
    EXPECT_FALSE(client.sessionPresent());
    const Json message{{"user", "alice01"}, {"channel", "news"}, {"body", "after"}};
    ASSERT_EQ(client.subscribe(topic), 1);
    EXPECT_EQ(askRest(sandbox.info(), "POST", "sandbox/messages", message).status, 200U);
    EXPECT_TRUE(client.receive());
}

TEST(SandboxService, AnswersRestOverTlsOnly) {
    const RunningSandbox sandbox;
    const SandboxInfo& info = sandbox.info();
    EXPECT_EQ(askRest(info, "POST", "installations", Json{{"appId", info.appId}}).status, 200U);
    EXPECT_EQ(askHttps(info.restPort, info.caFile, "GET", "/api/installations/x").status, 401U);
    EXPECT_EQ(askRest(info, "PUT", "installations/unknown", Json::object()).status, 404U);
    const HttpAnswer tooLarge =
        askHttps(info.restPort, info.caFile, "POST", "/api/installations?access_token=" + info.apiKey,
                 std::string(1024 * 1024 + 1, ' '));
    EXPECT_EQ(tooLarge.status, 413U) << tooLarge.error;
    const HttpAnswer longTarget =
        askHttps(info.restPort, info.caFile, "GET", "/api/" + std::string(16 * 1024, 'a'));
    EXPECT_EQ(longTarget.status, 431U) << longTarget.error;

    boost::asio::io_context context;
    boost::asio::ip::tcp::socket plain(context);
    plain.connect({boost::asio::ip::address_v4::loopback(), info.restPort});
    boost::asio::write(plain, boost::asio::buffer(std::string("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n")));
    std::string answer;
    boost::system::error_code error;
    boost::asio::read(plain, boost::asio::dynamic_buffer(answer), error);
    EXPECT_EQ(answer.find("HTTP"), std::string::npos) << answer;
}

TEST(SandboxService, ShowsTheCertificateThatATestGivesIt) {
    const TemporaryFolder certificates;
    const fs::path certificate = certificates.path() / "server.pem";
    const fs::path key = certificates.path() / "key.pem";
    CertificateContent content;
    content.notBefore = std::chrono::system_clock::now() - std::chrono::hours(48);
    content.notAfter = std::chrono::system_clock::now() + std::chrono::hours(48);
    const IssuedCertificate selfSigned = CertificateAuthority::issueSelfSigned(content);
    writePrivateFile(certificate, selfSigned.certificatePem);
    writePrivateFile(key, selfSigned.privateKeyPem);
    SandboxOptions options;
    options.serverCertificate = {certificate, key};
    const RunningSandbox sandbox(options);

    const SandboxInfo& info = sandbox.info();
    const std::string target = "/api/installations/x?access_token=" + info.apiKey;
    EXPECT_NE(askHttps(info.restPort, info.caFile, "GET", target).error.find("verify"), std::string::npos);
    EXPECT_EQ(askHttps(info.restPort, certificate, "GET", target).status, 404U);
    MqttTestClient distrustful({.clientId = info.appId + "/alice01/D1",
                                .user = info.brokerUser,
                                .password = info.brokerPassword,
                                .port = info.mqttTlsPort,
                                .caFile = info.caFile,
                                .cleanSession = true});
    EXPECT_EQ(distrustful.connect(), -1);
}

// A process of its own that runs the service, as the command does; "ready" comes through a pipe.
class ServiceProcess {
public:
    explicit ServiceProcess(const fs::path& folder) {
        int ends[2];
        if (::pipe(ends) != 0) {
            throw std::runtime_error("no pipe");
        }
        pid_ = ::fork();
        if (pid_ == 0) {
            ::close(ends[0]);
            ::_exit(run(folder, ends[1]));
        }
        ::close(ends[1]);
        char byte = 0;
        ready_ = ::read(ends[0], &byte, 1) == 1;
        ::close(ends[0]);
    }
    ~ServiceProcess() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    [[nodiscard]] bool ready() const { return ready_; }
    void signal(int number) const { ::kill(pid_, number); }

    int wait() {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = 0;
        return status;
    }

private:
    static int run(const fs::path& folder, int readyEnd) {
        SandboxOptions options;
        options.stateFolder = folder;
        options.mqttPort = options.mqttTlsPort = options.restPort = 0;
        options.verbose = true;
        options.log = [folder](std::string_view line) {
            std::ofstream(folder / "log", std::ios::app) << line << "\n";
        };
        options.onReady = [readyEnd](const SandboxInfo&) {
            [[maybe_unused]] const ssize_t written = ::write(readyEnd, "!", 1);
        };
        try {
            runSandboxUntilSignal(std::move(options));
            return 0;
        } catch (const std::exception&) {
            return 1;
        }
    }

    pid_t pid_{0};
    bool ready_{false};
};

// Whether nothing listens on the port any more; asked until it is so.
bool closesSoon(std::uint16_t port) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
        boost::asio::io_context context;
        boost::asio::ip::tcp::socket socket(context);
        boost::system::error_code error;
        socket.connect({boost::asio::ip::address_v4::loopback(), port}, error);
        if (error) {
            return true;
        }
    }
    return false;
}

TEST(SandboxProgram, EndsCleanlyOnCtrlC) {
    const TemporaryFolder folder;
    ServiceProcess process(folder.path());
    ASSERT_TRUE(process.ready());
    const SandboxInfo info = readSandboxInfo(folder.path());
    process.signal(SIGINT);
    const int status = process.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(closesSoon(info.mqttPort));
    EXPECT_THROW(readSandboxInfo(folder.path()), SandboxError);
}

TEST(SandboxProgram, TakesItsBrokerAlongWhenItIsKilled) {
    const TemporaryFolder folder;
    ServiceProcess process(folder.path());
    ASSERT_TRUE(process.ready());
    const SandboxInfo info = readSandboxInfo(folder.path());
    process.signal(SIGKILL);
    process.wait();
    EXPECT_TRUE(closesSoon(info.mqttPort));
    // What is left in the folder does not hinder the next service.
    SandboxService next(makeOptions(folder, LogKeeper()));
    EXPECT_NO_THROW(next.start());
}

}  // namespace
}  // namespace xel::sandbox::test
