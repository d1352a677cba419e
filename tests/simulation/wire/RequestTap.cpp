#include "tests/simulation/wire/RequestTap.h"

#include <string>
#include <utility>

namespace xel::simulation {
namespace {

/// Method and path; the query holds the access token.
std::string describe(const HTTPRequest& request) {
    return request.method + " " + request.url.substr(0, request.url.find('?'));
}

}  // namespace

void RequestTap::send(HTTPRequest request, Completion completion) {
    const std::string text = describe(request);
    const std::int64_t number = ++lastRequest_;
    tell_({.kind = FactKind::Requested, .text = text, .request = number});
    transport_->send(std::move(request), [tell = tell_, text, number, completion = std::move(completion)](
                                             const Result<HTTPResponse>& outcome) {
        Fact fact{.kind = FactKind::Answered, .text = text, .request = number};
        fact.number = outcome ? outcome.value().status : 0;
        fact.ok = outcome.isOk();
        tell(std::move(fact));
        completion(outcome);
    });
}

}  // namespace xel::simulation
