#include <memory>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "sandbox/broker/BrokerSetup.h"
#include "sandbox/process/Ports.h"
#include "sandbox/process/SandboxError.h"
#include "sandbox/state/CertificateAuthority.h"
#include "sandbox/state/Credentials.h"
#include "sandbox/state/SandboxInfo.h"
#include "sandbox/state/StateFolder.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

namespace fs = std::filesystem;

unsigned rightsOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777U;
}

TEST(StateFolder, IsPrivateAndForOneServiceAtATime) {
    const test::TemporaryFolder temporary;
    const fs::path path = temporary.path() / "a" / "state";
    auto first = std::make_unique<StateFolder>(path);
    EXPECT_EQ(rightsOf(path), 0700U);
    EXPECT_THROW(StateFolder second(path), SandboxError);
    first.reset();
    EXPECT_NO_THROW(StateFolder third(path));
}

TEST(StateFolder, TakesRightsAwayFromOthers) {
    const test::TemporaryFolder temporary;
    fs::permissions(temporary.path(), fs::perms::all);
    const StateFolder folder(temporary.path());
    EXPECT_EQ(rightsOf(temporary.path()), 0700U);
}

TEST(PrivateFile, IsReplacedWholeAndReadableByTheOwnerOnly) {
    const test::TemporaryFolder temporary;
    const fs::path file = temporary.path() / "file";
    EXPECT_FALSE(readWholeFile(file));
    writePrivateFile(file, "first, and long");
    fs::permissions(file, fs::perms::all);
    writePrivateFile(file, "second");
    EXPECT_EQ(readWholeFile(file), "second");
    EXPECT_EQ(rightsOf(file), 0600U);
    EXPECT_THROW(writePrivateFile(temporary.path() / "missing" / "file", ""), SandboxError);
}

TEST(Credentials, AreMadeOnceAndKept) {
    const test::TemporaryFolder temporary;
    const StateFolder folder(temporary.path());
    const LoadedCredentials first = loadOrCreateCredentials(folder, "");
    EXPECT_TRUE(first.areNew);
    EXPECT_EQ(first.credentials.appId, "xelpush-demo");
    EXPECT_EQ(first.credentials.apiKey.size(), 48U);
    EXPECT_NE(first.credentials.brokerPassword, first.credentials.servicePassword);
    EXPECT_EQ(rightsOf(folder.file("credentials.json")), 0600U);

    const LoadedCredentials second = loadOrCreateCredentials(folder, "shop-demo");
    EXPECT_FALSE(second.areNew);
    EXPECT_EQ(second.credentials.appId, "shop-demo");
    EXPECT_EQ(second.credentials.apiKey, first.credentials.apiKey);
    EXPECT_EQ(second.credentials.brokerPassword, first.credentials.brokerPassword);
    EXPECT_EQ(loadOrCreateCredentials(folder, "").credentials.appId, "shop-demo");
}

TEST(Credentials, AreRefusedWhenDamagedOrForAnImpossibleApplication) {
    const test::TemporaryFolder temporary;
    const StateFolder folder(temporary.path());
    EXPECT_THROW(loadOrCreateCredentials(folder, "a/b"), SandboxError);
    for (const char* damaged : {"", "nonsense", "{}", R"({"appId":"x"})"}) {
        writePrivateFile(folder.file("credentials.json"), damaged);
        EXPECT_THROW(loadOrCreateCredentials(folder, ""), SandboxError) << damaged;
    }
}

TEST(SandboxInfo, IsReadAsWrittenAndMissedWithAClearText) {
    const test::TemporaryFolder temporary;
    SandboxInfo info;
    info.appId = "shop";
    info.apiKey = "k";
    info.brokerUser = "u";
    info.brokerPassword = "p";
    info.address = "127.0.0.1";
    info.mqttPort = 1;
    info.mqttTlsPort = 2;
    info.restPort = 65535;
    info.restUrl = "https://localhost:65535/api";
    info.caFile = temporary.path() / "ca.pem";
    info.stateFolder = temporary.path();
    info.pid = 7;
    try {
        readSandboxInfo(temporary.path());
        FAIL() << "read what is not there";
    } catch (const SandboxError& error) {
        EXPECT_NE(std::string(error.what()).find("xelpush sandbox"), std::string::npos);
    }
    writeSandboxInfo(info);
    EXPECT_EQ(rightsOf(temporary.path() / kSandboxInfoFile), 0600U);
    const SandboxInfo read = readSandboxInfo(temporary.path());
    EXPECT_EQ(read.apiKey, "k");
    EXPECT_EQ(read.brokerPassword, "p");
    EXPECT_EQ(read.mqttPort, 1);
    EXPECT_EQ(read.mqttTlsPort, 2);
    EXPECT_EQ(read.restPort, 65535);
    EXPECT_EQ(read.caFile, info.caFile);
    EXPECT_EQ(read.pid, 7);
    writePrivateFile(temporary.path() / kSandboxInfoFile, "{}");
    EXPECT_THROW(readSandboxInfo(temporary.path()), SandboxError);
}

TEST(ServerCertificate, IsKeptWhileItIsGood) {
    const test::TemporaryFolder temporary;
    const StateFolder folder(temporary.path());
    const ServerCertificateFiles files = ensureServerCertificate(folder);
    EXPECT_EQ(rightsOf(files.privateKey), 0600U);
    EXPECT_EQ(rightsOf(folder.file("ca-key.pem")), 0600U);
    const auto authority = readWholeFile(authorityFile(folder));
    const auto first = readWholeFile(files.certificate);
    ensureServerCertificate(folder);
    EXPECT_EQ(readWholeFile(files.certificate), first);

    // Not by this authority, or about to end: a new one, and the authority stays.
    const auto now = std::chrono::system_clock::now();
    CertificateContent content;
    content.notBefore = now - std::chrono::hours(24);
    content.notAfter = now + std::chrono::hours(24 * 365);
    const std::string selfSigned = CertificateAuthority::issueSelfSigned(content).certificatePem;
    writePrivateFile(files.certificate, selfSigned);
    ensureServerCertificate(folder);
    EXPECT_NE(readWholeFile(files.certificate), selfSigned);
    const CertificateAuthority loaded =
        CertificateAuthority::loadOrCreate(authorityFile(folder), folder.file("ca-key.pem"));
    EXPECT_TRUE(loaded.hasIssued(*readWholeFile(files.certificate), now));

    content.notAfter = now + std::chrono::hours(24 * 7);
    const std::string shortLived = loaded.issue(content).certificatePem;
    EXPECT_TRUE(loaded.hasIssued(shortLived, now));
    EXPECT_FALSE(loaded.hasIssued(shortLived, now + std::chrono::hours(24 * 8)));
    writePrivateFile(files.certificate, shortLived);
    ensureServerCertificate(folder);
    EXPECT_NE(readWholeFile(files.certificate), shortLived);
    EXPECT_EQ(readWholeFile(authorityFile(folder)), authority);
}

TEST(CertificateAuthority, NeedsBothItsFiles) {
    const test::TemporaryFolder temporary;
    const StateFolder folder(temporary.path());
    ensureServerCertificate(folder);
    fs::remove(folder.file("ca-key.pem"));
    EXPECT_THROW(ensureServerCertificate(folder), SandboxError);
}

TEST(PasswordLine, HoldsAHashAndNeverThePassword) {
    const std::string line = makePasswordLine("user", "secret");
    EXPECT_EQ(line.rfind("user:$7$101$", 0), 0U) << line;
    EXPECT_EQ(line.find("secret"), std::string::npos);
    EXPECT_EQ(lastOf(line), '\n');
    EXPECT_NE(line, makePasswordLine("user", "secret")) << "the salt must differ";
}

TEST(Ports, AreOnTheLoopbackInterfaceOnly) {
    EXPECT_NO_THROW(requireLoopback("127.0.0.1"));
    EXPECT_NO_THROW(requireLoopback("127.0.0.9"));
    EXPECT_NO_THROW(requireLoopback("::1"));
    for (const char* address : {"0.0.0.0", "::", "10.0.0.1", "localhost", ""}) {
        EXPECT_THROW(requireLoopback(address), SandboxError) << address;
    }
}

}  // namespace
}  // namespace xel::sandbox
