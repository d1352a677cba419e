#include "XelPushClient/Testing/Simulation/SimulationTrace.h"

#include <chrono>
#include <string>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

/// Method and URL, without the query, which holds the access token.
std::string describeRequest(const HTTPRequest& request) {
    return request.method + " " + request.url.substr(0, request.url.find('?'));
}

}  // namespace

SimulationTrace::SimulationTrace(FakeMachine& machine, SimulatedBackend& backend, Write write)
    : machine_(machine), backend_(backend), write_(std::move(write)) {
    machine_.broker->addObserver(*this);
    backend_.addObserver(*this);
    machine_.disk->setCommitHandler([this](std::string_view store, std::string_view what) {
        note(formatted("disk %@ %@", store, what));
    });
}

SimulationTrace::~SimulationTrace() {
    machine_.broker->removeObserver(*this);
    backend_.removeObserver(*this);
    machine_.disk->setCommitHandler(nullptr);
}

void SimulationTrace::note(std::string_view text) const {
    const std::chrono::duration<double> elapsed = machine_.runLoop->elapsed();
    write_(formatted("%.3f %@", elapsed.count(), text));
}

void SimulationTrace::brokerDidReceive(const FakeBrokerRecord& record) {
    note(formatted("broker < %@ %@", record.clientId, describePacket(record.packet)));
}

void SimulationTrace::brokerDidSend(const FakeBrokerRecord& record) {
    note(formatted("broker > %@ %@", record.clientId, describePacket(record.packet)));
}

void SimulationTrace::brokerDidSendOctets(std::string_view octets) {
    note("broker > octets " + hexadecimal({octets.begin(), octets.end()}));
}

void SimulationTrace::brokerDidLoseClient(std::string_view clientId) {
    note(formatted("broker lost %@", clientId));
}

void SimulationTrace::brokerDidForgetSession(std::string_view clientId) {
    note(formatted("broker forgot the session of %@", clientId));
}

void SimulationTrace::backendDidReceive(const HTTPRequest& request) {
    note(formatted("backend < %@ %@", describeRequest(request), request.body));
}

void SimulationTrace::backendDidAnswer(const HTTPRequest& request, const Result<HTTPResponse>& answer) {
    note(formatted("backend > %@ %@", describeRequest(request),
                   answer ? formatted("%d %@", answer.value().status, answer.value().body)
                          : std::string(answer.error().localizedDescription())));
}

}  // namespace xel
