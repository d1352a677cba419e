#pragma once

#include <curl/curl.h>

#include "XelPushClient/Platform/HTTPTransport.h"
#include "examples/minimal-platform/PollRunLoop.h"

namespace minimal {

/// REST by libcurl's easy interface: each request blocks a thread of its own.
class EasyTransport final : public xel::HTTPTransport {
public:
    EasyTransport(std::shared_ptr<PollRunLoop> loop, std::string caFile)
        : loop_(std::move(loop)), caFile_(std::move(caFile)) {}

    void send(xel::HTTPRequest request, Completion completion) override {
        std::thread([request = std::move(request), completion = std::move(completion), loop = loop_,
                     caFile = caFile_] {
            loop->post([completion, outcome = perform(request, caFile)] { completion(outcome); });
        }).detach();
    }

private:
    static constexpr std::size_t kLargestAnswer = 1U << 20U;

    static std::size_t take(const char* octets, std::size_t /*one*/, std::size_t count, void* body) {
        auto& text = *static_cast<std::string*>(body);
        text.append(octets, count);
        return text.size() > kLargestAnswer ? 0 : count;
    }
    static xel::Result<xel::HTTPResponse> perform(const xel::HTTPRequest& request,
                                                  const std::string& caFile) {
        xel::HTTPResponse response;
        curl_slist* headers = nullptr;
        for (const auto& [name, value] : request.headers) {
            headers = curl_slist_append(headers, std::string(name).append(": ").append(value).c_str());
        }
        CURL* const handle = curl_easy_init();
        curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
        curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.c_str());
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "https,http");
        curl_easy_setopt(handle, CURLOPT_CAINFO, caFile.c_str());
        curl_easy_setopt(handle, CURLOPT_TIMEOUT, 60L);
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &take);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &response.body);
        const CURLcode code = curl_easy_perform(handle);
        long status = 0;
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        response.status = static_cast<int>(status);
        curl_easy_cleanup(handle);
        curl_slist_free_all(headers);
        if (code == CURLE_OK) {
            return response;
        }
        // libcurl's own texts hold no query, where the access token is.
        const auto meaning = code == CURLE_COULDNT_CONNECT ? xel::NSURLErrorCode::CannotConnectToHost
                                                           : xel::NSURLErrorCode::NetworkConnectionLost;
        return xel::makeError(xel::NSURLErrorDomain, static_cast<std::int64_t>(meaning),
                              curl_easy_strerror(code));
    }

    std::shared_ptr<PollRunLoop> loop_;
    std::string caFile_;
};

}  // namespace minimal
