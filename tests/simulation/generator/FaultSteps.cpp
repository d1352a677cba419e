#include "tests/simulation/generator/FaultSteps.h"

#include <algorithm>
#include <chrono>

namespace xel::simulation {
namespace {

using Lines = std::vector<std::string>;

std::string someTopic(Draw& draw) {
    return draw.oneOf<std::string>({"app/shop/user/public/news", "app/shop/user/public/sport",
                                    "app/shop/user/alice01/default", "app/shop/event/login/+",
                                    "app/shop/event/login/D1", "app/shop/publish/public/news"});
}

/// Octets that no broker may send, and some that mean nothing here.
std::string someOctets(Draw& draw) {
    return draw.oneOf<std::string>({"36 05 00 01 61 00 01", "30 02 00 05", "32 05 00 01 61 00 00",
                                    "30 FF FF FF FF 7F", "40 02 FF F0", "90 03 FF F1 00", "B0 02 FF F2",
                                    "31 06 00 03 61 2F 23 62", "D0 00"});
}

Lines backend(Draw& draw) {
    const auto request =
        draw.oneOf<std::string>({"POST installations", "PUT installations/D1", "DELETE installations/D1"});
    switch (draw.number(0, 6)) {
        case 0: return {"rest answers " + request + " 500 {}"};
        case 1: return {"rest answers " + request + R"( 404 {"error":{"status":404,"message":"gone"}})"};
        case 2: return {"rest answers " + request + " 200 {}"};
        case 3: return {"rest answers " + request + " 200 \"not JSON\""};
        case 4: return {"rest fails " + request + " timed-out"};
        case 5: return {"rest fails " + request + " bad-response"};
        default: return {"rest fails " + request + " not-connected"};
    }
}

/// No disk holds a commit for minutes, in which the keep-alive would run out.
Lines storing(Draw& draw) {
    const std::string meanwhile = "time passes " + std::to_string(draw.number(1, 12)) + " s";
    if (draw.chance(50)) {
        return {"disk holds-turns", meanwhile, "disk releases-turns"};
    }
    return draw.chance(20) ? Lines{"disk fails"} : Lines{"disk fails", meanwhile, "disk works"};
}

/// What happens to sessions under connections that go on happens to no real broker. The commits of turns are
/// held above, for some seconds.
bool isLeftOut(const FaultForm& form) {
    const FaultKind kind = form.what;
    return kind == FaultKind::BrokerForgetsSessions || kind == FaultKind::DiskHoldsTurns;
}

}  // namespace

FaultSteps::FaultSteps(Draw& draw, bool hasBackend) : draw_(draw), hasBackend_(hasBackend) {
    const int percent = draw_.oneOf<int>({15, 40, 100});
    for (const auto& form : faultForms()) {
        const bool isThere = hasBackend || !form.line.starts_with("backend ");
        if (isThere && !isLeftOut(form) && draw_.chance(percent)) {
            forms_.push_back(form);
        }
    }
}

Lines FaultSteps::next() {
    switch (draw_.number(0, 11)) {
        case 0: return {"broker restarts empty"};
        case 1: return {"broker sends-octets " + someOctets(draw_)};
        case 2: return {readSize(draw_)};
        case 3: return hasBackend_ ? Lines{"backend forgets installations"} : backend(draw_);
        case 4: return storing(draw_);
        case 5:
            return {draw_.oneOf<std::string>(
                {"broker loses connections", "broker resets connections", "broker ends connections"})};
        default: return forms_.empty() ? Lines() : Lines{faultOf(draw_.oneOf(forms_))};
    }
}

std::string FaultSteps::faultOf(const FaultForm& form) {
    Fault fault{.what = form.what};
    if (form.hasText()) {
        const auto choices = form.choices();
        const auto free = form.what == FaultKind::BackendGivesId
                              ? draw_.oneOf<std::string>({"D1", "D2", "D9"})
                              : someTopic(draw_);
        fault.on = choices.empty() ? free
                                   : std::string(choices[static_cast<std::size_t>(
                                         draw_.number(0, static_cast<int>(choices.size()) - 1))]);
    }
    if (form.hasAmount()) {
        fault.amount = amountFor(form);
    }
    if (form.span == FaultSpan::Lasting && draw_.chance(80)) {
        fault.duration =
            std::chrono::milliseconds(draw_.chance(50) ? draw_.number(1, 3000) : draw_.number(3, 60) * 1000);
    }
    return describeFault(fault);
}

std::int64_t FaultSteps::amountFor(const FaultForm& form) {
    if (form.what == FaultKind::BackendAnswers) {
        return draw_.oneOf<std::int64_t>({200, 204, 302, 400, 401, 403, 404, 409, 422, 429, 500, 503});
    }
    const auto amount = draw_.oneOf<std::int64_t>(
        {0, 1, draw_.number(1, 5), draw_.number(1, 60), 20, draw_.number(60, 900), 200, 5000, 65535});
    // A network that comes and goes each millisecond is one that is not there, and takes long to carry out.
    const std::int64_t least = form.what == FaultKind::NetworkFlaps ? 100 : form.least;
    return std::clamp(amount, least, form.most);
}

std::string readSize(Draw& draw) {
    return "broker cuts reads to " + draw.oneOf<std::string>({"1", "2", "3", "7", "60", "500", "65536"});
}

}  // namespace xel::simulation
