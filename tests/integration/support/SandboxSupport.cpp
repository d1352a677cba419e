#include "tests/integration/support/SandboxSupport.h"

#include <algorithm>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/host_name_verification.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

namespace xel::sandbox::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

LogSink LogKeeper::sink() {
    return [kept = kept_](std::string_view line) {
        const std::lock_guard lock(kept->mutex);
        kept->lines.emplace_back(line);
    };
}

std::vector<std::string> LogKeeper::lines() const {
    const std::lock_guard lock(kept_->mutex);
    return kept_->lines;
}

bool LogKeeper::contains(const std::string& text) const {
    const std::vector<std::string> all = lines();
    return std::any_of(all.begin(), all.end(),
                       [&text](const std::string& line) { return line.find(text) != std::string::npos; });
}

bool LogKeeper::tellsOfALostClient() const {
    return contains(" closed its connection.") || contains(" disconnected: ") ||
           contains("Socket error on client");
}

SandboxOptions makeOptions(const TemporaryFolder& folder, const LogKeeper& log) {
    SandboxOptions options;
    options.stateFolder = folder.path();
    options.mqttPort = 0;
    options.mqttTlsPort = 0;
    options.restPort = 0;
    options.log = LogKeeper(log).sink();
    return options;
}

RunningSandbox::RunningSandbox() : RunningSandbox(SandboxOptions{}) {}

RunningSandbox::RunningSandbox(SandboxOptions changed) {
    const SandboxOptions own = makeOptions(folder, log);
    changed.stateFolder = own.stateFolder;
    changed.mqttPort = changed.mqttTlsPort = changed.restPort = 0;
    changed.log = own.log;
    service = std::make_unique<SandboxService>(std::move(changed));
    service->start();
}

HttpAnswer askHttps(std::uint16_t port, const std::filesystem::path& caFile, const std::string& method,
                    const std::string& target, const std::string& body) {
    HttpAnswer answer;
    try {
        asio::io_context context;
        asio::ssl::context tls(asio::ssl::context::tls_client);
        tls.load_verify_file(caFile.string());
        tls.set_verify_mode(asio::ssl::verify_peer);
        beast::ssl_stream<beast::tcp_stream> stream(context, tls);
        stream.set_verify_callback(asio::ssl::host_name_verification("localhost"));
        beast::get_lowest_layer(stream).expires_after(kPatience);
        beast::get_lowest_layer(stream).connect({asio::ip::address_v4::loopback(), port});
        stream.handshake(asio::ssl::stream_base::client);

        http::request<http::string_body> request{http::verb::get, target, 11};
        request.method_string(method);
        request.set(http::field::host, "localhost");
        request.body() = body;
        request.prepare_payload();
        http::write(stream, request);

        beast::flat_buffer buffer;
        http::response<http::string_body> response;
        http::read(stream, buffer, response);
        answer.status = response.result_int();
        answer.body = Json::parse(response.body(), nullptr, false);
    } catch (const std::exception& error) {
        answer.error = error.what();
    }
    return answer;
}

HttpAnswer askRest(const SandboxInfo& info, const std::string& method, const std::string& route,
                   const Json& body) {
    return askHttps(
        info.restPort, info.caFile, method,
        "/api/" + route + (route.find('?') == std::string::npos ? '?' : '&') + "access_token=" + info.apiKey,
        body.is_null() ? std::string() : printJson(body));
}

}  // namespace xel::sandbox::test
