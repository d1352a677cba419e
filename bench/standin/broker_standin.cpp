// A broker stand-in: a process of its own, so that what a broker costs is no part of a subject's figure.
//
//   broker_standin --mode blast --count N [--interval-us U] [--in-flight K]   publishes N messages
//                  [--payload-bytes B] [--first-index I] [--departures FILE]
//   broker_standin --mode sink --withhold K [--count N]                       takes publications
//   broker_standin --mode crowd --count N                                     N clients, one message to each
//
// All take [--port P] [--app A] [--user U] [--channel C] [--patience SECONDS] [--tls CERTIFICATE
// --tls-key KEY]. The first line of output is "port=P checksum=C"; the last is the outcome as JSON. Exit
// code 0 means that every message was acknowledged (blast), or that exactly N publications came, when N
// is given (sink), or that all N clients came and acknowledged their message (crowd).

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <utility>

#include "bench/common/ProcessTables.h"
#include "bench/common/SampleMessage.h"
#include "bench/common/SubjectRun.h"
#include "bench/standin/CrowdServer.h"
#include "bench/standin/StandinServer.h"

namespace xel::bench {

namespace {

BlastOptions blastOptions(const BenchOptions& options) {
    BlastOptions blast;
    blast.topic = sampleTopic(options.text("app", kSampleAppId), options.text("user", kSampleUserId),
                              options.text("channel", kSampleChannel));
    blast.count = options.number("count");
    blast.inFlight = options.number("in-flight", 65535);
    blast.interval = std::chrono::microseconds(options.number("interval-us", 0));
    blast.firstIndex = options.number("first-index", 0);
    blast.payloadBytes = options.number("payload-bytes", 0);
    blast.departures = options.text("departures", "");
    return blast;
}

std::optional<StandinTLS> tlsOptions(const BenchOptions& options) {
    const std::string certificate = options.text("tls", "");
    if (certificate.empty()) {
        return std::nullopt;
    }
    return StandinTLS{certificate, options.text("tls-key", "")};
}

int reportBlast(const Blast& blast) {
    blast.writeDepartures();
    std::printf(R"({"sent":%llu,"acknowledged":%llu,"seconds":%.6f})"
                "\n",
                static_cast<unsigned long long>(blast.sent()),
                static_cast<unsigned long long>(blast.acknowledged()),
                blast.complete() ? blast.seconds() : 0.0);
    return blast.complete() ? 0 : 1;
}

int reportSink(const Sink& sink, std::uint64_t expected) {
    std::printf(R"({"received":%llu,"unacknowledged":%llu,"most_unacknowledged":%llu})"
                "\n",
                static_cast<unsigned long long>(sink.received()),
                static_cast<unsigned long long>(sink.unacknowledged()),
                static_cast<unsigned long long>(sink.mostUnacknowledged()));
    return expected == 0 || sink.received() == expected ? 0 : 1;
}

void tellPort(std::uint16_t port, std::uint64_t checksum) {
    std::printf("port=%u checksum=%llu\n", static_cast<unsigned>(port),
                static_cast<unsigned long long>(checksum));
    std::fflush(stdout);
}

int runCrowd(const BenchOptions& options) {
    raiseDescriptorLimit();
    CrowdOptions crowd;
    crowd.count = options.number("count");
    crowd.app = options.text("app", kSampleAppId);
    crowd.channel = options.text("channel", kSampleChannel);
    crowd.patience = std::chrono::seconds(options.number("patience", 60));
    const auto certificate = tlsOptions(options);
    CrowdServer server(crowd, certificate ? std::optional<TLSAcceptor>(
                                                std::in_place, certificate->certificate, certificate->key)
                                          : std::nullopt);
    tellPort(server.listen(static_cast<std::uint16_t>(options.number("port", 0))), 0);
    server.serve();
    std::printf(R"({"introduced":%llu,"acknowledged":%llu})"
                "\n",
                static_cast<unsigned long long>(server.introduced()),
                static_cast<unsigned long long>(server.acknowledged()));
    return server.acknowledged() == crowd.count ? 0 : 1;
}

int run(const BenchOptions& options) {
    const std::string mode = options.text("mode", "blast");
    if (mode == "crowd") {
        return runCrowd(options);
    }
    std::optional<Blast> blast;
    std::optional<Sink> sink;
    if (mode == "blast") {
        blast.emplace(blastOptions(options));
    } else if (mode == "sink") {
        sink.emplace(options.number("withhold"));
    } else {
        throw std::invalid_argument("--mode is blast, sink or crowd, not '" + mode + "'");
    }
    StandinServer server(std::move(blast), std::move(sink), tlsOptions(options));
    const std::uint16_t port = server.listen(static_cast<std::uint16_t>(options.number("port", 0)));
    tellPort(port, server.blast() ? server.blast()->checksum() : 0);
    server.serve(static_cast<int>(options.number("patience", 30)));
    return server.blast() ? reportBlast(*server.blast())
                          : reportSink(*server.sink(), options.number("count", 0));
}

}  // namespace

}  // namespace xel::bench

int main(int argc, char** argv) {
    return xel::bench::runGuarded(xel::bench::run, argc, argv);
}
